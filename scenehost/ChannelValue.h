// One value of one channel, and the rules by which a reader converts it.
#pragma once

#include "ComBase.h"

#include <cstdint>
#include <string>

namespace scenehost {

// What a channel holds. Matrix channels (the locator's world and local matrices) are computed by
// the host and have no stored value: a read of them fails, but they can be looked up and driven.
enum class ChannelKind { Integer, Double, String, Object, Matrix };

const char* KindName(ChannelKind kind);

class ChannelValue {
public:
    static ChannelValue Integer(int32_t v);
    static ChannelValue Double(double v);
    static ChannelValue String(std::string v);
    static ChannelValue Object(IQvUnknown* object); // takes its own reference; null is allowed
    // An object that the item itself owns (its mesh): handed out, but not held by the value, so
    // that the host's own objects do not count as references a plug-in took.
    static ChannelValue OwnedByItem(IQvUnknown* object);
    static ChannelValue None(ChannelKind kind); // the kind's empty value

    ChannelKind Kind() const { return kind_; }
    // The reads of a channel reader. Numbers convert into each other (a double read as an
    // integer is cut toward zero, as a C cast does); text and objects do not convert.
    QvResult AsInteger(int32_t* out) const;
    QvResult AsDouble(double* out) const;
    QvResult AsString(const char** out) const; // valid while the value lives unchanged
    QvResult AsObject(IQvUnknown** out) const; // qvNotFound for an empty object channel

    // Whether a number given to the builder can be stored in a channel of `kind`.
    static bool Accepts(ChannelKind kind, bool isInteger, bool isText);

private:
    explicit ChannelValue(ChannelKind kind) : kind_(kind) {}

    ChannelKind kind_;
    int32_t integer_ = 0;
    double number_ = 0.0;
    std::string text_;
    ComRef<IQvUnknown> object_;
    IQvUnknown* owned_ = nullptr;
};

} // namespace scenehost
