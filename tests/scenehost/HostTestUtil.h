// Small helpers for tests that call the scene host through its interfaces, as a plug-in does.
#pragma once

#include "SceneHost.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace hosttest {

using scenehost::ComRef;

template <class I> ComRef<I> Query(IQvUnknown* object) {
    ComRef<I> out;
    if (object) object->QueryInterface(I::iid, out.outVoid());
    return out;
}

template <class I> ComRef<I> Service(scenehost::SceneHost& host) {
    ComRef<I> out;
    host.LookupService(I::iid, out.outVoid());
    return out;
}

inline ComRef<IQvChannelRead> Channels(scenehost::SceneHost& host, const char* action,
                                       double time = 0.0) {
    ComRef<IQvChannelRead> read;
    static_cast<IQvScene*>(host.SceneObject())->GetChannels(action, time, read.out());
    return read;
}

inline int32_t Index(scenehost::Item& item, const char* channel) {
    int32_t index = -1;
    item.ChannelLookup(channel, &index);
    return index;
}

inline double ReadDouble(IQvChannelRead* read, scenehost::Item& item, const char* channel) {
    double v = -12345.0;
    EXPECT_EQ(read->ReadDouble(&item, static_cast<uint32_t>(Index(item, channel)), &v), qvOk)
        << channel;
    return v;
}

inline int32_t ReadInt(IQvChannelRead* read, scenehost::Item& item, const char* channel) {
    int32_t v = -12345;
    EXPECT_EQ(read->ReadInteger(&item, static_cast<uint32_t>(Index(item, channel)), &v), qvOk)
        << channel;
    return v;
}

inline std::string NameOf(IQvItem* item) {
    const char* name = nullptr;
    return item && QvSucceeded(item->Name(&name)) ? name : "<none>";
}

inline scenehost::Matrix World(scenehost::Item& item, IQvChannelRead* read) {
    scenehost::Matrix m{};
    auto locator = Query<IQvLocator>(static_cast<IQvItem*>(&item));
    EXPECT_TRUE(locator);
    if (locator) {
        EXPECT_EQ(locator->WorldTransform(read, m.data()), qvOk);
    }
    return m;
}

// A visitor that runs a function at each element.
class CallVisitor final : public scenehost::Transient<IQvVisitor> {
public:
    explicit CallVisitor(std::function<QvResult()> call) : call_(std::move(call)) {}
    QvResult Evaluate() override { return call_(); }

private:
    std::function<QvResult()> call_;
};

inline ComRef<IQvVisitor> Visitor(std::function<QvResult()> call) {
    return ComRef<IQvVisitor>(new CallVisitor(std::move(call)), false);
}

// The mesh object of a mesh item, read as a saver reads it: its "mesh" channel through "edit".
inline ComRef<IQvMesh> MeshObjectOf(scenehost::SceneHost& host, scenehost::Item& item) {
    ComRef<IQvUnknown> object;
    ComRef<IQvChannelRead> read = Channels(host, "edit");
    EXPECT_EQ(read->ReadObject(&item, static_cast<uint32_t>(Index(item, "mesh")), object.out()),
              qvOk);
    return Query<IQvMesh>(object.get());
}

} // namespace hosttest
