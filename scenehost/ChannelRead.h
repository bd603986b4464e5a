// Channel readers: the values of items for one action and time.
//
// Where a value comes from, first hit wins:
//   action "setup"       setup, then the type's default
//   action "edit"        edit, setup, default
//   an action clip       the clip's own values, setup, default
//   base (BaseChannels)  edit, setup, default: the values as stored
//   evaluated (null)     each active, enabled clip (the last in scene order first), edit, setup,
//                        default, at the reader's time
// Envelopes (keyframed values) are not modelled yet; when they come, the evaluated and action
// reads evaluate them at the reader's time inside Resolve, and IsAnimated and Envelope answer
// for them. Nothing else has to change.
#pragma once

#include "ComBase.h"

#include "qv/scene.h"

#include <string>
#include <vector>

namespace scenehost {

class Item;
class Scene;
class ChannelValue;

class ChannelRead final : public Transient<IQvChannelRead> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x02}};

    enum class Mode { Action, Base, Evaluated };

    ChannelRead(Scene& scene, Mode mode, std::string action, double time);

    Mode ReadMode() const { return mode_; }
    const std::string& Action() const { return action_; }
    double Time() const { return time_; }
    // The value of a channel of `item`; `channel` must be below the item's channel count.
    const ChannelValue& Resolve(const Item& item, uint32_t channel) const;

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    QvResult ReadObject(IQvItem* item, uint32_t channel, IQvUnknown** object) override;
    QvResult ReadInteger(IQvItem* item, uint32_t channel, int32_t* value) override;
    QvResult ReadDouble(IQvItem* item, uint32_t channel, double* value) override;
    QvResult ReadString(IQvItem* item, uint32_t channel, const char** value) override;
    QvResult IsAnimated(IQvItem* item, uint32_t channel) override;
    QvResult Envelope(IQvItem* item, uint32_t channel, IQvEnvelope** envelope) override;

private:
    // The value a read answers from, or null for an item or channel the reader cannot serve;
    // counts the read.
    const ChannelValue* Lookup(IQvItem* item, uint32_t channel, QvResult* error) const;

    Scene& scene_;
    Mode mode_;
    std::string action_;
    double time_;
    std::vector<std::string> chain_; // the actions asked, first hit wins
};

} // namespace scenehost
