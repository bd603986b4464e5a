// How the host's objects count references and answer QueryInterface.
//
// Two lifetimes exist. Owned objects (items, their faces, graphs, services, the scene) belong to
// the scene or the host and die with it; their counts only feed the ledger in Observation, so a
// test can see whether the plug-in released what it took. Transient objects (channel readers,
// log entries, messages, user values, enumerators) are made for one caller and delete themselves
// at their last Release.
#pragma once

#include "Observation.h"

#include "qv/core.h"

#include <atomic>
#include <utility>

namespace scenehost {

// Fills `*out` with `face` and a new reference; always succeeds.
template <class I> QvResult AnswerWith(I* face, void** out) {
    face->AddRef();
    *out = face;
    return qvOk;
}

// Answers IQvUnknown (through the first interface) and each interface of the list.
template <class First, class... Rest, class Self>
QvResult AnswerInterfaces(Self* self, const QvGuid& id, void** out) {
    if (!out) return qvFailed;
    if (id == IQvUnknown::iid)
        return AnswerWith(static_cast<IQvUnknown*>(static_cast<First*>(self)), out);
    if (id == First::iid) return AnswerWith(static_cast<First*>(self), out);
    if constexpr (sizeof...(Rest) > 0) return AnswerInterfaces<Rest...>(self, id, out);
    return qvNoInterface;
}

// The concrete object behind an interface pointer the plug-in hands back, found through the
// class's private identifier `T::implIid`; null for an object the host did not make.
template <class T> T* ImplFrom(IQvUnknown* object) {
    if (!object) return nullptr;
    void* raw = nullptr;
    if (QvFailed(object->QueryInterface(T::implIid, &raw)) || !raw) return nullptr;
    T* impl = static_cast<T*>(raw);
    impl->Release(); // the caller still holds its own reference; the owner keeps it alive
    return impl;
}

// Number of transient objects alive in the process; a test compares it before and after.
int LiveTransientObjects();
void CountTransient(int delta);

template <class... Interfaces> class Transient : public Interfaces... {
public:
    Transient() { CountTransient(+1); }
    Transient(const Transient&) = delete;
    Transient& operator=(const Transient&) = delete;

    QvResult QueryInterface(const QvGuid& id, void** out) override {
        return AnswerInterfaces<Interfaces...>(this, id, out);
    }
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override {
        uint32_t left = --refs_;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~Transient() { CountTransient(-1); }

private:
    uint32_t refs_ = 1; // the creator's reference, handed to the caller
};

template <class... Interfaces> class Owned : public Interfaces... {
public:
    explicit Owned(Observation& observation) : observation_(observation) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    virtual ~Owned() = default;

    QvResult QueryInterface(const QvGuid& id, void** out) override {
        return AnswerInterfaces<Interfaces...>(this, id, out);
    }
    uint32_t AddRef() override {
        ++observation_.heldReferences;
        return ++refs_;
    }
    uint32_t Release() override {
        if (refs_ == 0) {
            observation_.Count("OverRelease");
            return 0;
        }
        --observation_.heldReferences;
        return --refs_;
    }

protected:
    Observation& observation_;

private:
    uint32_t refs_ = 0; // the owner holds the object without a reference
};

// One reference to an interface, released on destruction. Copying takes another reference.
template <class T> class ComRef {
public:
    ComRef() = default;
    explicit ComRef(T* p, bool addRef = true) : p_(p) {
        if (p_ && addRef) p_->AddRef();
    }
    ComRef(const ComRef& o) : ComRef(o.p_) {}
    ComRef(ComRef&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    ComRef& operator=(ComRef o) {
        std::swap(p_, o.p_);
        return *this;
    }
    ~ComRef() {
        if (p_) p_->Release();
    }
    T* get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }
    // For out-arguments: releases what is held and gives the slot to fill.
    T** out() {
        *this = ComRef();
        return &p_;
    }
    void** outVoid() { return reinterpret_cast<void**>(out()); }

private:
    T* p_ = nullptr;
};

} // namespace scenehost
