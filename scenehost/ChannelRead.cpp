#include "ChannelRead.h"

#include "Envelopes.h"
#include "Item.h"
#include "Scene.h"

#include <cmath>
#include <limits>

namespace scenehost {

struct ChannelRead::LinkVisit {
    const Item* item;
    uint32_t channel;
    const LinkVisit* outer;
};

namespace {

bool IsNumber(ChannelKind kind) {
    return kind == ChannelKind::Double || kind == ChannelKind::Integer;
}

// A number as a channel of `kind` holds it: an integer channel cuts it toward zero, as a read of
// a number as an integer does, and keeps it within 32 bits.
ChannelValue NumberValue(ChannelKind kind, double v) {
    if (kind == ChannelKind::Double) return ChannelValue::Double(v);
    constexpr double lo = std::numeric_limits<int32_t>::min();
    constexpr double hi = std::numeric_limits<int32_t>::max();
    if (std::isnan(v)) v = 0.0;
    return ChannelValue::Integer(static_cast<int32_t>(v < lo ? lo : v > hi ? hi : std::trunc(v)));
}

} // namespace

ChannelRead::ChannelRead(Scene& scene, Mode mode, std::string action, double time)
    : scene_(scene), mode_(mode), action_(std::move(action)), time_(time) {
    const uint32_t setup = scene_.ActionId(qvActionSetup), edit = scene_.ActionId(qvActionEdit);
    switch (mode_) {
    case Mode::Action:
        chain_.push_back(scene_.ActionId(action_));
        if (chain_.front() != setup) chain_.push_back(setup);
        break;
    case Mode::Base:
        chain_ = {edit, setup};
        break;
    case Mode::Evaluated:
        // The clip met last in the scene lies on top.
        for (const Item* clip : scene_.ActiveClips())
            chain_.insert(chain_.begin(), scene_.ActionId(clip->Ident()));
        chain_.push_back(edit);
        chain_.push_back(setup);
        break;
    }
}

const ChannelSlot* ChannelRead::Source(const Item& item, uint32_t channel) const {
    for (uint32_t action : chain_)
        if (const ChannelSlot* slot = item.Slot(action, channel)) return slot;
    return nullptr;
}

const ChannelValue& ChannelRead::Resolve(const Item& item, uint32_t channel,
                                         ChannelValue& scratch) const {
    return ResolveFrom(item, channel, scratch, nullptr);
}

const ChannelValue& ChannelRead::ResolveFrom(const Item& item, uint32_t channel,
                                             ChannelValue& scratch, const LinkVisit* outer) const {
    const ChannelKind kind = item.Type().channels[channel].kind;
    if (mode_ == Mode::Evaluated && IsNumber(kind)) {
        const std::vector<ChannelDriver>& drivers = item.Drivers(channel);
        bool cycle = false;
        for (const LinkVisit* v = outer; v && !cycle; v = v->outer)
            cycle = v->item == &item && v->channel == channel;
        if (!drivers.empty() && !cycle &&
            IsNumber(drivers.front().item->Type().channels[drivers.front().channel].kind)) {
            const LinkVisit here{&item, channel, outer};
            double v = 0.0;
            ResolveFrom(*drivers.front().item, drivers.front().channel, scratch, &here)
                .AsDouble(&v);
            scratch = NumberValue(kind, v);
            return scratch;
        }
    }
    const ChannelSlot* slot = Source(item, channel);
    if (!slot) return item.Type().channels[channel].defaultValue;
    if (slot->value) return *slot->value;
    scratch = NumberValue(kind, slot->keys->Evaluate(time_));
    return scratch;
}

QvResult ChannelRead::QueryInterface(const QvGuid& id, void** out) {
    if (out && id == implIid) return AnswerWith(this, out);
    return Transient::QueryInterface(id, out);
}

Item* ChannelRead::ChannelOwner(IQvItem* iitem, uint32_t channel, QvResult* error) const {
    Item* item = ImplFrom<Item>(iitem);
    if (!item) {
        *error = qvFailed;
        return nullptr;
    }
    if (channel >= item->Type().channels.size()) {
        *error = qvOutOfRange;
        return nullptr;
    }
    return item;
}

const ChannelValue* ChannelRead::Lookup(IQvItem* iitem, uint32_t channel, ChannelValue& scratch,
                                        QvResult* error) const {
    Item* item = ImplFrom<Item>(iitem);
    if (item && scene_.Observed().counting) {
        const auto& channels = item->Type().channels;
        scene_.Observed().Count(
            "ChannelRead:" + item->Name() + ":" +
            (channel < channels.size() ? channels[channel].name : "#" + std::to_string(channel)));
    }
    item = ChannelOwner(iitem, channel, error);
    return item ? &Resolve(*item, channel, scratch) : nullptr;
}

QvResult ChannelRead::ReadObject(IQvItem* item, uint32_t channel, IQvUnknown** object) {
    QvResult error = qvFailed;
    ChannelValue scratch = ChannelValue::None(ChannelKind::Object);
    const ChannelValue* value = Lookup(item, channel, scratch, &error);
    return value ? value->AsObject(object) : error;
}

QvResult ChannelRead::ReadInteger(IQvItem* item, uint32_t channel, int32_t* out) {
    QvResult error = qvFailed;
    ChannelValue scratch = ChannelValue::None(ChannelKind::Integer);
    const ChannelValue* value = Lookup(item, channel, scratch, &error);
    return value ? value->AsInteger(out) : error;
}

QvResult ChannelRead::ReadDouble(IQvItem* item, uint32_t channel, double* out) {
    QvResult error = qvFailed;
    ChannelValue scratch = ChannelValue::None(ChannelKind::Double);
    const ChannelValue* value = Lookup(item, channel, scratch, &error);
    return value ? value->AsDouble(out) : error;
}

// Text is never worked out, so the pointer handed out is always into a value the item holds.
QvResult ChannelRead::ReadString(IQvItem* item, uint32_t channel, const char** out) {
    QvResult error = qvFailed;
    ChannelValue scratch = ChannelValue::None(ChannelKind::String);
    const ChannelValue* value = Lookup(item, channel, scratch, &error);
    return value ? value->AsString(out) : error;
}

QvResult ChannelRead::IsAnimated(IQvItem* iitem, uint32_t channel) {
    QvResult error = qvFailed;
    Item* item = ChannelOwner(iitem, channel, &error);
    if (!item) return error;
    const ChannelSlot* slot = Source(*item, channel);
    return slot && slot->keys ? qvOk : qvFalse;
}

QvResult ChannelRead::Envelope(IQvItem* iitem, uint32_t channel, IQvEnvelope** envelope) {
    QvResult error = qvFailed;
    Item* item = ChannelOwner(iitem, channel, &error);
    if (!item || !envelope) return item ? qvFailed : error;
    const ChannelSlot* slot = Source(*item, channel);
    if (!slot || !slot->keys) return qvNotFound;
    *envelope = new EnvelopeObject(slot->keys);
    return qvOk;
}

} // namespace scenehost
