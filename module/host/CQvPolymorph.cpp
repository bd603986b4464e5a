#include "host/CQvPolymorph.h"

CQvServerObject::~CQvServerObject() {
    // The faces forward to the object, so they go first.
    faces.clear();
}

void CQvServerObject::AddFace(const QvGuid& id, std::unique_ptr<CQvFace> face) {
    faces.emplace_back(id, std::move(face));
}

QvResult CQvServerObject::QueryInterface(const QvGuid& id, void** out) {
    if (!out) return qvFailed;
    if (id == IQvUnknown::iid) {
        *out = static_cast<IQvUnknown*>(this);
        AddRef();
        return qvOk;
    }
    for (auto& [faceId, face] : faces) {
        if (faceId == id) {
            *out = face->Interface();
            AddRef();
            return qvOk;
        }
    }
    return qvNoInterface;
}

uint32_t CQvServerObject::Release() {
    uint32_t left = --refs;
    if (left == 0) delete this;
    return left;
}
