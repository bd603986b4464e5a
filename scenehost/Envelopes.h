// Values that change with time: keyframed envelopes of number channels, world-matrix tracks of
// locators, and the IQvEnvelope and IQvKeyframe faces through which a plug-in reads keys.
//
// An envelope holds keys (time in seconds, value, interpolation), ordered by time, one key at a
// time. At a time before the first key it gives the first key's value, after the last key the
// last key's; at a key, that key's value; between two keys, the left key's interpolation decides:
// linear blends the two values, stepped holds the left value until the next key. A world-matrix
// track does the same with whole matrices, element by element, always linearly.
//
// Evaluation is a binary search over the keys and allocates nothing, since the evaluated reader
// runs it for every keyed channel at every sampled time.
#pragma once

#include "ComBase.h"
#include "Transforms.h"

#include "qv/anim.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace scenehost {

enum class Interp { Linear, Stepped };

// Interpolations as scene files name them ("linear", "stepped"); false for an unknown name.
bool InterpFromName(const std::string& name, Interp* interp);

struct Key {
    double time;
    double value;
    Interp interp; // how the value goes on from this key to the next
};

class KeyList {
public:
    // Adds a key in time order; a key at a time that has one already replaces it.
    void Add(const Key& key);
    const std::vector<Key>& Keys() const { return keys_; }
    // The value at `time`; the list is never empty once it is in an item.
    double Evaluate(double time) const;

private:
    std::vector<Key> keys_;
};

class MatrixTrack {
public:
    void Add(double time, const Matrix& matrix); // in time order, replacing a key at that time
    size_t Size() const { return keys_.size(); }
    Matrix Evaluate(double time) const;

private:
    std::vector<std::pair<double, Matrix>> keys_;
};

// A plug-in's view of one envelope. It shares the keys with the item, so it stays valid for as
// long as the plug-in holds it and sees keys that the builder adds later.
class EnvelopeObject final : public Transient<IQvEnvelope> {
public:
    explicit EnvelopeObject(std::shared_ptr<const KeyList> keys);
    QvResult Keyframes(IQvKeyframe** cursor) override;
    QvResult Evaluate(double time, double* value) override;

private:
    std::shared_ptr<const KeyList> keys_;
};

// A cursor over an envelope's keys. A new cursor stands on no key: Time and Value fail until
// First or Last places it, and Next places it on the first key. Next past the last key answers
// qvNotFound and leaves the cursor on the last key.
class KeyCursor final : public Transient<IQvKeyframe> {
public:
    explicit KeyCursor(std::shared_ptr<const KeyList> keys);
    QvResult First() override;
    QvResult Last() override;
    QvResult Next() override;
    QvResult Time(double* time) override;
    QvResult Value(double* value) override;

private:
    static constexpr size_t kNoKey = static_cast<size_t>(-1);
    std::shared_ptr<const KeyList> keys_;
    size_t at_ = kNoKey;
};

} // namespace scenehost
