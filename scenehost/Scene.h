// The scene: its items in order, the type tree, the item graphs and the channel graph, the render
// cameras, and the IQvScene face that a plug-in is handed as the source of a save.
//
// Order is the scene's: items are listed in the order they were added (the scene item first,
// each locator's own transform items right after the locator that made them), children in the
// order they were attached. Nothing is ordered by address.
#pragma once

#include "ComBase.h"
#include "Item.h"
#include "TypeTree.h"

#include "qv/scene.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace scenehost {

class ItemGraph;
class ChannelGraph;

// The character that joins the parts of an ident the scene host makes itself (AddItem, and so a
// locator's own transform items). Scene files refuse control characters in ids, so a user's id
// can never meet one of these, whichever is made first.
constexpr char kMadeIdentMark = '\x1f';

// Whether a user may give an item this ident: not empty, and no control character, which would
// hide in messages and, as a NUL, cut short the ident a plug-in reads.
bool IsUserIdent(const std::string& ident);

class Scene final : public Owned<IQvScene> {
public:
    explicit Scene(Observation& observation);
    ~Scene() override;

    // ---- Builder ----
    // Adds an item of a known type (throws std::invalid_argument otherwise) as the last child of
    // `parent`, or at the top. Its ident is the type, kMadeIdentMark and a count of that type.
    Item& AddItem(const std::string& type, const std::string& name, Item* parent = nullptr);
    Item& AddItem(const std::string& type, const std::string& name, Item& parent);
    // The same with a chosen ident (unique: throws if taken), as scene files give them.
    Item& AddItemWithIdent(const std::string& ident, const std::string& type,
                           const std::string& name, Item* parent = nullptr);
    // Moves `child` to the end of `parent`'s children (null: to the top). Throws when that would
    // make a cycle or when either side is the scene item. Any item may go under a mask here, so a
    // test can show a plug-in a shader tree that the application would not make; scene files
    // keep the two trees apart.
    void SetParent(Item& child, Item* parent);
    void Link(const std::string& graph, Item& from, Item& to); // appends a forward link
    void LinkChannel(Item& driver, const std::string& driverChannel, Item& driven,
                     const std::string& channel);
    // Makes a graph (an item graph or "chanLinks") absent, as in a host without it.
    void RemoveGraph(const std::string& name);
    // Render cameras, in order. Until one is named, every camera item of the scene counts.
    void AddRenderCamera(Item& camera);
    // Makes a type name fail to look up, as in a host without that type.
    void RemoveType(const std::string& name) { types_.Hide(name); }

    // ---- The model ----
    Observation& Observed() const { return observation_; }
    const TypeTree& Types() const { return types_; }
    Item& SceneItem() { return *items_.front(); }
    const std::vector<Item*>& Items() const { return order_; }
    Item* FindIdent(const std::string& ident) const;
    Item* FindName(const std::string& name) const; // the first of that name
    Item& Get(const std::string& name) const;      // the same, throwing when there is none
    bool HasGraph(const std::string& name) const;
    std::vector<Item*> RenderCameras() const;
    std::vector<Item*> ActiveClips() const; // active and enabled action clips, in scene order
    // Whether channel values may be read for that action: "setup", "edit" or a clip's ident.
    bool IsAction(const std::string& action) const;
    // The scene item's "time" as the edit action reads it at time 0: where the base reader stands.
    double CurrentTime() const;
    // Actions by number, so that reads compare numbers rather than names. ActionId gives a name
    // its number, the next free one on first use; FindActionId answers -1 for a name never used.
    uint32_t ActionId(const std::string& action);
    int32_t FindActionId(const std::string& action) const;
    uint32_t ActionCount() const { return static_cast<uint32_t>(actionIds_.size()); } // ids 0..n-1

    // ---- IQvScene ----
    QvResult GetChannels(const char* action, double time, IQvChannelRead** out) override;
    QvResult BaseChannels(IQvChannelRead** out) override;
    QvResult ItemCount(QvTypeCode type, uint32_t* count) override;
    QvResult ItemByIndex(QvTypeCode type, uint32_t index, IQvItem** item) override;
    QvResult ItemOfType(QvTypeCode type, IQvItem** item) override;
    QvResult GraphLookup(const char* name, const QvGuid& id, void** out) override;
    QvResult RenderCameraCount(uint32_t* count) override;
    QvResult RenderCameraByIndex(uint32_t index, IQvItem** item) override;

private:
    bool OfType(const Item& item, QvTypeCode type) const;
    std::string NewIdent(const std::string& type);

    TypeTree types_;
    std::vector<std::unique_ptr<Item>> items_;
    std::vector<Item*> order_;
    // Where the last ItemByIndex answer stood. A plug-in walks the items of a type by index, one
    // call an item; starting each call where the last one stopped keeps that walk linear. Items
    // are only ever appended, so the cursor holds while the item count is what it was.
    struct IndexCursor {
        QvTypeCode type = 0;
        size_t itemCount = 0; // order_.size() when the cursor was set; 0: no cursor
        uint32_t index = 0;
        size_t position = 0;
    } cursor_;
    std::map<std::string, Item*> byIdent_;
    std::map<std::string, uint32_t> identCounters_;
    // Graph objects stay alive when removed, since a plug-in may still hold one.
    std::map<std::string, std::unique_ptr<ItemGraph>> graphs_;
    std::unique_ptr<ChannelGraph> chanLinks_;
    std::vector<std::string> absentGraphs_;
    std::vector<Item*> renderCameras_;
    std::map<std::string, uint32_t> actionIds_;
};

} // namespace scenehost
