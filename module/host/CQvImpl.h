// Bases for objects that the module implements and hands to the host.
#pragma once

#include "qv/core.h"

#include <atomic>
#include <functional>
#include <new>

// Runs the body of a call from the host so that no exception leaves it: memory that runs out
// answers qvOutOfMemory, anything else qvFailed.
template <class Body> QvResult CQvNoThrow(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return qvOutOfMemory;
    } catch (...) {
        return qvFailed;
    }
}

// Reference counting for a module object with one or more interfaces; the concrete class
// answers QueryInterface and deletes itself when the last reference goes.
class CQvRefCount {
public:
    virtual ~CQvRefCount() = default;
    uint32_t AddRefImpl() { return ++refs; }
    uint32_t ReleaseImpl() {
        uint32_t left = --refs;
        if (left == 0) delete this;
        return left;
    }

private:
    std::atomic<uint32_t> refs{1};
};

// A visitor that lives on the caller's stack for the length of one host enumeration; the host
// must not keep it beyond the call, so the reference count is not used to free it.
class CQvImpl_AbstractVisitor : public IQvVisitor {
public:
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (id == IQvVisitor::iid || id == IQvUnknown::iid) {
            *out = static_cast<IQvVisitor*>(this);
            return qvOk;
        }
        return qvNoInterface;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    virtual ~CQvImpl_AbstractVisitor() = default;
};

// A visitor that calls a function; for enumerations whose work fits in a lambda.
class CQvFunctionVisitor final : public CQvImpl_AbstractVisitor {
public:
    explicit CQvFunctionVisitor(std::function<QvResult()> fn) : fn(std::move(fn)) {}
    QvResult Evaluate() override { return fn(); }

private:
    std::function<QvResult()> fn;
};
