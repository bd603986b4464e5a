// Base of the scene savers. Takes the host's verify and save calls, opens the output format,
// runs the passes, and holds a current item with its mesh objects, so that a concrete saver
// walks items and reads meshes with short calls. It knows nothing of glTF.
#pragma once

#include "host/CQvFileFormat.h"
#include "host/CQvUser.h"

#include <cstdint>
#include <memory>

// The saver as the host's saver interface sees it.
class CQvImpl_Saver {
public:
    virtual ~CQvImpl_Saver() = default;
    virtual QvResult Verify(IQvUnknown* source, IQvUnknown* message) = 0;
    virtual QvResult Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) = 0;
};

struct SceneSaverState;

class CQvSceneSaver : public CQvImpl_Saver {
public:
    CQvSceneSaver();
    ~CQvSceneSaver() override;

    QvResult Verify(IQvUnknown* source, IQvUnknown* message) override;
    QvResult Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) override;

    virtual CQvFileFormat* GetFormat() = 0;
    virtual bool UsesSceneSubset() { return false; }
    virtual void VerifyScene() {}
    virtual QvResult SavePass() = 0;
    virtual void OnPoint() {}
    virtual void OnPolyTag() {}
    virtual void OnPolygon() {}

protected:
    // Valid only while Verify or Save runs.
    IQvScene* GetScene() const;
    bool IsRealPass() const;
    IQvSceneService* SceneService() const;

    // Item scan: all items of a type (null: every item, the scene item included).
    void ScanStart(const char* typeName);
    bool ScanNext();

    bool SetItem(IQvItem* item);
    void GetItem(CQvUser_Item& wrapper) const;
    const char* ItemName();
    const char* ItemTypeName();
    bool ChannelObject(const char* channel, IQvUnknown** object);

    // The current item's mesh and its walk.
    bool GetMesh(CQvUser_Mesh& wrapper) const;
    uint32_t PointCount();
    void WalkPoints();
    void WalkPolygons();
    const char* PolyTag(uint32_t type);
    QvPolygonId CurrentPolygonId();
    QvPointId CurrentPointId();
    bool CurrentPointPosition(double* xyz);
    bool PolygonAccessorOfSaver(CQvUser_Polygon& wrapper) const;
    bool PointAccessorOfSaver(CQvUser_Point& wrapper) const;
    bool MapAccessorOfSaver(CQvUser_MeshMap& wrapper) const;

private:
    bool CreateState(IQvUnknown* source);
    void DestroyState();
    bool BindMeshAccessors();
    // Binds the mesh of `item`'s "mesh" channel; a missing channel notes lastError only when
    // asked to (a mesh item's own channel, not an instance's source).
    bool BindMeshFromChannel(IQvItem* item, bool noteMissingChannel);

    std::unique_ptr<SceneSaverState> state;
};
