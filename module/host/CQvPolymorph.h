// Server factories. The host sees a server object as one COM object with a reference count and
// a set of interfaces; behind it stands one plain C++ object. CQvPolymorph<T> describes such a
// server once (which interfaces, each an adapter that forwards to T) and makes objects from it.
#pragma once

#include "host/CQvImpl.h"

#include <functional>
#include <memory>
#include <new>
#include <utility>
#include <vector>

// One interface face of a server object: an adapter that forwards its calls to the C++ object
// and its reference counting to the server object.
class CQvFace {
public:
    virtual ~CQvFace() = default;
    virtual IQvUnknown* Interface() = 0;
};

// The C++ object behind a server object, of whatever class the server has.
class CQvHeld {
public:
    virtual ~CQvHeld() = default;
};

template <class T> class CQvHeldOf final : public CQvHeld {
public:
    T object;
};

class CQvServerObject final : public IQvUnknown {
public:
    explicit CQvServerObject(std::unique_ptr<CQvHeld> held) : held(std::move(held)) {}
    ~CQvServerObject();

    void AddFace(const QvGuid& id, std::unique_ptr<CQvFace> face);

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override;

private:
    std::unique_ptr<CQvHeld> held;
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
    // Makes a new server object and gives its interface `id` (a new reference). Throws nothing:
    // the host calls it through IQvModule::Generate.
    virtual QvResult Spawn(const QvGuid& id, void** out) = 0;
};

template <class T> class CQvPolymorph final : public CQvPolymorphBase {
public:
    using FaceMaker = std::function<std::unique_ptr<CQvFace>(CQvServerObject&, T&)>;

    // Adds an interface entry: `Adapter` is constructed as Adapter(owner, object, args...).
    template <class Adapter, class... Args> void AddInterface(Args... args) {
        makers.emplace_back(Adapter::iid, [args...](CQvServerObject& owner, T& object) {
            return std::unique_ptr<CQvFace>(std::make_unique<Adapter>(owner, object, args...));
        });
    }

    QvResult Spawn(const QvGuid& id, void** out) override {
        return CQvNoThrow([&] {
            auto held = std::make_unique<CQvHeldOf<T>>();
            T& object = held->object;
            auto server = std::make_unique<CQvServerObject>(std::move(held));
            for (auto& [faceId, make] : makers)
                server->AddFace(faceId, make(*server, object));
            // From here the server object owns itself and goes with its last reference, which
            // is the host's, or the Release below when the interface is not there.
            CQvServerObject* self = server.release();
            QvResult result = self->QueryInterface(id, out);
            self->Release();
            return result;
        });
    }

private:
    std::vector<std::pair<QvGuid, FaceMaker>> makers;
};

// Makes a factory and lets `describe` add its interfaces. Null when memory runs out: the server
// is then listed but makes nothing (IQvModule::Generate answers qvOutOfMemory).
template <class T, class Describe>
std::unique_ptr<CQvPolymorphBase> CQvMakeFactory(Describe describe) {
    try {
        auto factory = std::make_unique<CQvPolymorph<T>>();
        describe(*factory);
        return factory;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
