#include "ChannelValue.h"

namespace scenehost {

const char* KindName(ChannelKind kind) {
    switch (kind) {
    case ChannelKind::Integer:
        return "integer";
    case ChannelKind::Double:
        return "number";
    case ChannelKind::String:
        return "string";
    case ChannelKind::Object:
        return "object";
    case ChannelKind::Matrix:
        return "matrix";
    }
    return "?";
}

ChannelValue ChannelValue::Integer(int32_t v) {
    ChannelValue value(ChannelKind::Integer);
    value.integer_ = v;
    return value;
}

ChannelValue ChannelValue::Double(double v) {
    ChannelValue value(ChannelKind::Double);
    value.number_ = v;
    return value;
}

ChannelValue ChannelValue::String(std::string v) {
    ChannelValue value(ChannelKind::String);
    value.text_ = std::move(v);
    return value;
}

ChannelValue ChannelValue::Object(IQvUnknown* object) {
    ChannelValue value(ChannelKind::Object);
    value.object_ = ComRef<IQvUnknown>(object);
    return value;
}

ChannelValue ChannelValue::OwnedByItem(IQvUnknown* object) {
    ChannelValue value(ChannelKind::Object);
    value.owned_ = object;
    return value;
}

ChannelValue ChannelValue::None(ChannelKind kind) {
    return ChannelValue(kind);
}

QvResult ChannelValue::AsInteger(int32_t* out) const {
    if (!out) return qvFailed;
    if (kind_ == ChannelKind::Integer) {
        *out = integer_;
        return qvOk;
    }
    if (kind_ == ChannelKind::Double) {
        *out = static_cast<int32_t>(number_);
        return qvOk;
    }
    return qvFailed;
}

QvResult ChannelValue::AsDouble(double* out) const {
    if (!out) return qvFailed;
    if (kind_ == ChannelKind::Double) {
        *out = number_;
        return qvOk;
    }
    if (kind_ == ChannelKind::Integer) {
        *out = integer_;
        return qvOk;
    }
    return qvFailed;
}

QvResult ChannelValue::AsString(const char** out) const {
    if (!out || kind_ != ChannelKind::String) return qvFailed;
    *out = text_.c_str();
    return qvOk;
}

QvResult ChannelValue::AsObject(IQvUnknown** out) const {
    if (!out || kind_ != ChannelKind::Object) return qvFailed;
    // An emptied channel fails as the host's does for an item whose object is missing.
    IQvUnknown* object = owned_ ? owned_ : object_.get();
    if (!object) return qvNotFound;
    return AnswerWith(object, reinterpret_cast<void**>(out));
}

bool ChannelValue::Accepts(ChannelKind kind, bool isInteger, bool isText) {
    switch (kind) {
    case ChannelKind::Integer:
        return isInteger;
    case ChannelKind::Double:
        return !isText;
    case ChannelKind::String:
        return isText;
    case ChannelKind::Object:
    case ChannelKind::Matrix:
        return false;
    }
    return false;
}

} // namespace scenehost
