#include "Envelopes.h"

#include <algorithm>

namespace scenehost {

bool InterpFromName(const std::string& name, Interp* interp) {
    if (name == "linear")
        *interp = Interp::Linear;
    else if (name == "stepped")
        *interp = Interp::Stepped;
    else
        return false;
    return true;
}

namespace {

// The first entry whose time lies after `time`; entries are ordered by `timeOf`.
template <class Entries, class TimeOf>
auto FirstAfter(const Entries& entries, double time, TimeOf timeOf) {
    return std::upper_bound(entries.begin(), entries.end(), time,
                            [&](double t, const auto& entry) { return t < timeOf(entry); });
}

// Inserts `entry` in time order, or replaces the entry at the same time.
template <class Entries, class Entry, class TimeOf>
void InsertByTime(Entries& entries, Entry entry, TimeOf timeOf) {
    auto at = std::lower_bound(entries.begin(), entries.end(), timeOf(entry),
                               [&](const auto& e, double t) { return timeOf(e) < t; });
    if (at != entries.end() && timeOf(*at) == timeOf(entry))
        *at = std::move(entry);
    else
        entries.insert(at, std::move(entry));
}

} // namespace

// ---- Keys -----------------------------------------------------------------------------------

void KeyList::Add(const Key& key) {
    InsertByTime(keys_, key, [](const Key& k) { return k.time; });
}

double KeyList::Evaluate(double time) const {
    auto next = FirstAfter(keys_, time, [](const Key& k) { return k.time; });
    if (next == keys_.begin()) return keys_.front().value;
    const Key& left = *(next - 1);
    if (next == keys_.end() || left.interp == Interp::Stepped) return left.value;
    const double f = (time - left.time) / (next->time - left.time);
    return left.value + (next->value - left.value) * f;
}

void MatrixTrack::Add(double time, const Matrix& matrix) {
    InsertByTime(keys_, std::make_pair(time, matrix), [](const auto& k) { return k.first; });
}

Matrix MatrixTrack::Evaluate(double time) const {
    auto next = FirstAfter(keys_, time, [](const auto& k) { return k.first; });
    if (next == keys_.begin()) return keys_.front().second;
    const auto& left = *(next - 1);
    if (next == keys_.end()) return left.second;
    const double f = (time - left.first) / (next->first - left.first);
    Matrix m;
    for (int i = 0; i < 16; ++i)
        m[i] = left.second[i] + (next->second[i] - left.second[i]) * f;
    return m;
}

// ---- The plug-in's faces --------------------------------------------------------------------

EnvelopeObject::EnvelopeObject(std::shared_ptr<const KeyList> keys) : keys_(std::move(keys)) {}

QvResult EnvelopeObject::Keyframes(IQvKeyframe** cursor) {
    if (!cursor) return qvFailed;
    *cursor = new KeyCursor(keys_);
    return qvOk;
}

QvResult EnvelopeObject::Evaluate(double time, double* value) {
    if (!value) return qvFailed;
    *value = keys_->Evaluate(time);
    return qvOk;
}

KeyCursor::KeyCursor(std::shared_ptr<const KeyList> keys) : keys_(std::move(keys)) {}

QvResult KeyCursor::First() {
    at_ = 0;
    return qvOk;
}

QvResult KeyCursor::Last() {
    at_ = keys_->Keys().size() - 1;
    return qvOk;
}

QvResult KeyCursor::Next() {
    if (at_ == kNoKey) return First();
    if (at_ + 1 >= keys_->Keys().size()) return qvNotFound;
    ++at_;
    return qvOk;
}

QvResult KeyCursor::Time(double* time) {
    if (!time || at_ == kNoKey) return qvFailed;
    *time = keys_->Keys()[at_].time;
    return qvOk;
}

QvResult KeyCursor::Value(double* value) {
    if (!value || at_ == kNoKey) return qvFailed;
    *value = keys_->Keys()[at_].value;
    return qvOk;
}

} // namespace scenehost
