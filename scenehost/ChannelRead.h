// Channel readers: the values of items for one action and time.
//
// Where a value comes from: the first action along the reader's chain that holds a value or keys
// for the channel decides, and the type's default stands when none does:
//   action "setup"       setup
//   action "edit"        edit, setup
//   an action clip       the clip's own values, setup
//   base (BaseChannels)  edit, setup: the values as stored
//   evaluated (null)     each active, enabled clip (the last in scene order first), edit, setup
// Keys (an envelope) give their value at the reader's time. Action and evaluated readers stand at
// the time they were asked for; the base reader at the scene's current time, its "time" channel
// as edit reads it at time 0 when the reader is made. Clips share the scene's time line.
//
// The evaluated reader also applies channel links: a number channel driven in the channel graph
// reads its first driver's number channel, evaluated by the same reader; a link from or to any
// other kind of channel (the matrices) is there for analysis only. Links chain; a channel met
// again along a chain closes a cycle and reads its own value there. Action and base readers show
// the values as they are held, without links.
//
// IsAnimated and Envelope answer by the same chain: a channel is animated in a reader when the
// action that decides its reads holds keys. A link does not make a channel animated.
#pragma once

#include "ComBase.h"

#include "qv/scene.h"

#include <string>
#include <vector>

namespace scenehost {

class Item;
class Scene;
class ChannelValue;
struct ChannelSlot;

class ChannelRead final : public Transient<IQvChannelRead> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x02}};

    enum class Mode { Action, Base, Evaluated };

    ChannelRead(Scene& scene, Mode mode, std::string action, double time);

    Mode ReadMode() const { return mode_; }
    const std::string& Action() const { return action_; }
    double Time() const { return time_; }
    Scene& Owner() const { return scene_; }
    // The actions asked (Scene::ActionId), first hit wins: with the mode and the time, all that
    // decides what the reader answers for a scene as it stands.
    const std::vector<uint32_t>& Chain() const { return chain_; }
    // The value of a channel of `item`; `channel` must be below the item's channel count. A held
    // value comes back as it is; a number worked out here (from keys or a driver) is put in
    // `scratch`, which is returned then, so the result lives as long as both.
    const ChannelValue& Resolve(const Item& item, uint32_t channel, ChannelValue& scratch) const;
    // The slot that decides the channel's reads here (ignoring links), or null for the default.
    const ChannelSlot* Source(const Item& item, uint32_t channel) const;

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    QvResult ReadObject(IQvItem* item, uint32_t channel, IQvUnknown** object) override;
    QvResult ReadInteger(IQvItem* item, uint32_t channel, int32_t* value) override;
    QvResult ReadDouble(IQvItem* item, uint32_t channel, double* value) override;
    QvResult ReadString(IQvItem* item, uint32_t channel, const char** value) override;
    // qvOk when the channel's reads come from keys, qvFalse when from a value or the default.
    QvResult IsAnimated(IQvItem* item, uint32_t channel) override;
    // The envelope of those keys; qvNotFound when the channel is not animated here.
    QvResult Envelope(IQvItem* item, uint32_t channel, IQvEnvelope** envelope) override;

private:
    struct LinkVisit; // a channel whose link is being followed, and the one that led to it

    const ChannelValue& ResolveFrom(const Item& item, uint32_t channel, ChannelValue& scratch,
                                    const LinkVisit* outer) const;
    // The value a read answers from, or null for an item or channel the reader cannot serve;
    // counts the read.
    const ChannelValue* Lookup(IQvItem* item, uint32_t channel, ChannelValue& scratch,
                               QvResult* error) const;
    // The item behind `iitem` when `channel` is one of its channels; the error otherwise.
    Item* ChannelOwner(IQvItem* iitem, uint32_t channel, QvResult* error) const;

    Scene& scene_;
    Mode mode_;
    std::string action_;
    double time_;
    std::vector<uint32_t> chain_; // the actions asked (Scene::ActionId), first hit wins
};

} // namespace scenehost
