// Wrappers around host objects. A CQvUser_ holds one reference to one interface of a host
// object; `bind` answers whether the object has that interface, and an unbound wrapper stands
// for absence. Out-arguments of host calls hand over a new reference: pass `wrapper.out()`.
#pragma once

#include "qv/anim.h"
#include "qv/command.h"
#include "qv/core.h"
#include "qv/deform.h"
#include "qv/log.h"
#include "qv/mesh.h"
#include "qv/module.h"
#include "qv/scene.h"
#include "qv/shade.h"
#include "qv/value.h"

#include <utility>

template <class I> class CQvUser_ {
public:
    CQvUser_() = default;
    ~CQvUser_() { clear(); }
    CQvUser_(const CQvUser_& other) : ptr(other.ptr) {
        if (ptr) ptr->AddRef();
    }
    CQvUser_(CQvUser_&& other) noexcept : ptr(std::exchange(other.ptr, nullptr)) {}
    CQvUser_& operator=(CQvUser_ other) noexcept {
        std::swap(ptr, other.ptr);
        return *this;
    }

    // Asks `object` for the interface; the wrapper is bound only when it has it.
    bool bind(IQvUnknown* object) {
        clear();
        void* raw = nullptr;
        if (!object || QvFailed(object->QueryInterface(I::iid, &raw)) || !raw) return false;
        ptr = static_cast<I*>(raw);
        return true;
    }
    template <class J> bool bind(const CQvUser_<J>& other) { return bind(other.get()); }

    // For a host call's out-argument: releases what is held and lets the call store a new
    // reference. Use only with calls whose out-argument is of this exact interface.
    I** out() {
        clear();
        return &ptr;
    }
    // For out-arguments typed as void** (service and graph look-ups).
    void** outVoid() {
        clear();
        return reinterpret_cast<void**>(&ptr);
    }

    void clear() {
        if (ptr) ptr->Release();
        ptr = nullptr;
    }
    bool test() const { return ptr != nullptr; }
    explicit operator bool() const { return ptr != nullptr; }
    I* get() const { return ptr; }
    I* operator->() const { return ptr; }

private:
    I* ptr = nullptr;
};

using CQvUser_Scene = CQvUser_<IQvScene>;
using CQvUser_SceneService = CQvUser_<IQvSceneService>;
using CQvUser_SceneSubset = CQvUser_<IQvSceneSubset>;
using CQvUser_ItemCollection = CQvUser_<IQvItemCollection>;
using CQvUser_Item = CQvUser_<IQvItem>;
using CQvUser_StringTag = CQvUser_<IQvStringTag>;
using CQvUser_ChannelRead = CQvUser_<IQvChannelRead>;
using CQvUser_Locator = CQvUser_<IQvLocator>;
using CQvUser_ItemGraph = CQvUser_<IQvItemGraph>;
using CQvUser_ChannelGraph = CQvUser_<IQvChannelGraph>;
using CQvUser_SelectionService = CQvUser_<IQvSelectionService>;
using CQvUser_ItemPacketTranslation = CQvUser_<IQvItemPacketTranslation>;
using CQvUser_Mesh = CQvUser_<IQvMesh>;
using CQvUser_Point = CQvUser_<IQvPoint>;
using CQvUser_Polygon = CQvUser_<IQvPolygon>;
using CQvUser_Edge = CQvUser_<IQvEdge>;
using CQvUser_MeshMap = CQvUser_<IQvMeshMap>;
using CQvUser_TriangleGroup = CQvUser_<IQvTriangleGroup>;
using CQvUser_DeformerService = CQvUser_<IQvDeformerService>;
using CQvUser_GroupDeformer = CQvUser_<IQvGroupDeformer>;
using CQvUser_Texture = CQvUser_<IQvTexture>;
using CQvUser_ActionClip = CQvUser_<IQvActionClip>;
using CQvUser_Envelope = CQvUser_<IQvEnvelope>;
using CQvUser_Keyframe = CQvUser_<IQvKeyframe>;
using CQvUser_GroupItem = CQvUser_<IQvGroupItem>;
using CQvUser_GroupEnumerator = CQvUser_<IQvGroupEnumerator>;
using CQvUser_ReplicatorEnumerator = CQvUser_<IQvReplicatorEnumerator>;
using CQvUser_LogService = CQvUser_<IQvLogService>;
using CQvUser_Log = CQvUser_<IQvLog>;
using CQvUser_LogEntry = CQvUser_<IQvLogEntry>;
using CQvUser_MessageService = CQvUser_<IQvMessageService>;
using CQvUser_Message = CQvUser_<IQvMessage>;
using CQvUser_MessageBoxService = CQvUser_<IQvMessageBoxService>;
using CQvUser_PlatformService = CQvUser_<IQvPlatformService>;
using CQvUser_UserValueService = CQvUser_<IQvUserValueService>;
using CQvUser_UserValue = CQvUser_<IQvUserValue>;
using CQvUser_Monitor = CQvUser_<IQvMonitor>;
using CQvUser_PersistenceService = CQvUser_<IQvPersistenceService>;
using CQvUser_PersistentEntry = CQvUser_<IQvPersistentEntry>;
using CQvUser_CommandService = CQvUser_<IQvCommandService>;
using CQvUser_Command = CQvUser_<IQvCommand>;
using CQvUser_Attributes = CQvUser_<IQvAttributes>;
using CQvUser_ValueArray = CQvUser_<IQvValueArray>;
using CQvUser_ValueReference = CQvUser_<IQvValueReference>;
using CQvUser_LoadOptionsService = CQvUser_<IQvLoadOptionsService>;
