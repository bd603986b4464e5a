// Server factories. The host sees a server object as one COM object with a reference count and
// a set of interfaces; behind it stands one plain C++ object. CQvPolymorph<T> describes such a
// server once (which interfaces, each an adapter that forwards to T) and makes objects from it.
#pragma once

#include "host/CQvImpl.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

// One interface face of a server object: an adapter that forwards its calls to the C++ object
// and its reference counting to the server object.
class CQvFace {
public:
    virtual ~CQvFace() = default;
    virtual IQvUnknown* Interface() = 0;
};

class CQvServerObject final : public IQvUnknown {
public:
    template <class T>
    explicit CQvServerObject(T* object)
        : impl(object, [](void* p) { delete static_cast<T*>(p); }) {}
    ~CQvServerObject();

    void AddFace(const QvGuid& id, std::unique_ptr<CQvFace> face);

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override;

private:
    std::unique_ptr<void, void (*)(void*)> impl;
    std::vector<std::pair<QvGuid, std::unique_ptr<CQvFace>>> faces;
    std::atomic<uint32_t> refs{1};
};

// Base of the adapters: IQvUnknown calls go to the owning server object.
template <class Iface> class CQvFaceOf : public Iface, public CQvFace {
public:
    explicit CQvFaceOf(CQvServerObject& owner) : owner(owner) {}
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        return owner.QueryInterface(id, out);
    }
    uint32_t AddRef() override { return owner.AddRef(); }
    uint32_t Release() override { return owner.Release(); }
    IQvUnknown* Interface() override { return static_cast<Iface*>(this); }

protected:
    CQvServerObject& owner;
};

class CQvPolymorphBase {
public:
    virtual ~CQvPolymorphBase() = default;
    // Makes a new server object and gives its interface `id` (a new reference).
    virtual QvResult Spawn(const QvGuid& id, void** out) = 0;
};

template <class T> class CQvPolymorph final : public CQvPolymorphBase {
public:
    using FaceMaker = std::function<std::unique_ptr<CQvFace>(CQvServerObject&, T&)>;

    // Adds an interface entry: `Adapter` is constructed as Adapter(owner, object, args...).
    template <class Adapter, class... Args> void AddInterface(Args... args) {
        makers.emplace_back(Adapter::iid, [args...](CQvServerObject& owner, T& object) {
            return std::unique_ptr<CQvFace>(new Adapter(owner, object, args...));
        });
    }

    QvResult Spawn(const QvGuid& id, void** out) override {
        T* object = new (std::nothrow) T();
        if (!object) return qvOutOfMemory;
        auto* server = new CQvServerObject(object);
        for (auto& [faceId, make] : makers) server->AddFace(faceId, make(*server, *object));
        QvResult result = server->QueryInterface(id, out);
        server->Release();
        return result;
    }

private:
    std::vector<std::pair<QvGuid, FaceMaker>> makers;
};
