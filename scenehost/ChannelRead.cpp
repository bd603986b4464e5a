#include "ChannelRead.h"

#include "Item.h"
#include "Scene.h"

namespace scenehost {

ChannelRead::ChannelRead(Scene& scene, Mode mode, std::string action, double time)
    : scene_(scene), mode_(mode), action_(std::move(action)), time_(time) {
    switch (mode_) {
    case Mode::Action:
        chain_.push_back(action_);
        if (action_ != qvActionSetup) chain_.push_back(qvActionSetup);
        break;
    case Mode::Base:
        chain_ = {qvActionEdit, qvActionSetup};
        break;
    case Mode::Evaluated:
        // The clip met last in the scene lies on top.
        for (const Item* clip : scene_.ActiveClips())
            chain_.insert(chain_.begin(), clip->Ident());
        chain_.push_back(qvActionEdit);
        chain_.push_back(qvActionSetup);
        break;
    }
}

const ChannelValue& ChannelRead::Resolve(const Item& item, uint32_t channel) const {
    for (const std::string& action : chain_)
        if (const ChannelValue* value = item.Stored(action, channel)) return *value;
    return item.Type().channels[channel].defaultValue;
}

QvResult ChannelRead::QueryInterface(const QvGuid& id, void** out) {
    if (out && id == implIid) return AnswerWith(this, out);
    return Transient::QueryInterface(id, out);
}

const ChannelValue* ChannelRead::Lookup(IQvItem* iitem, uint32_t channel, QvResult* error) const {
    Item* item = ImplFrom<Item>(iitem);
    if (!item) {
        *error = qvFailed;
        return nullptr;
    }
    const auto& channels = item->Type().channels;
    scene_.Observed().Count(
        "ChannelRead:" + item->Name() + ":" +
        (channel < channels.size() ? channels[channel].name : "#" + std::to_string(channel)));
    if (channel >= channels.size()) {
        *error = qvOutOfRange;
        return nullptr;
    }
    return &Resolve(*item, channel);
}

QvResult ChannelRead::ReadObject(IQvItem* item, uint32_t channel, IQvUnknown** object) {
    QvResult error = qvFailed;
    const ChannelValue* value = Lookup(item, channel, &error);
    return value ? value->AsObject(object) : error;
}

QvResult ChannelRead::ReadInteger(IQvItem* item, uint32_t channel, int32_t* out) {
    QvResult error = qvFailed;
    const ChannelValue* value = Lookup(item, channel, &error);
    return value ? value->AsInteger(out) : error;
}

QvResult ChannelRead::ReadDouble(IQvItem* item, uint32_t channel, double* out) {
    QvResult error = qvFailed;
    const ChannelValue* value = Lookup(item, channel, &error);
    return value ? value->AsDouble(out) : error;
}

QvResult ChannelRead::ReadString(IQvItem* item, uint32_t channel, const char** out) {
    QvResult error = qvFailed;
    const ChannelValue* value = Lookup(item, channel, &error);
    return value ? value->AsString(out) : error;
}

QvResult ChannelRead::IsAnimated(IQvItem* iitem, uint32_t channel) {
    Item* item = ImplFrom<Item>(iitem);
    if (!item) return qvFailed;
    if (channel >= item->Type().channels.size()) return qvOutOfRange;
    return qvFalse; // no envelopes yet: every channel holds a plain value
}

QvResult ChannelRead::Envelope(IQvItem* iitem, uint32_t channel, IQvEnvelope** envelope) {
    Item* item = ImplFrom<Item>(iitem);
    if (!item || !envelope) return qvFailed;
    if (channel >= item->Type().channels.size()) return qvOutOfRange;
    return qvNotFound;
}

} // namespace scenehost
