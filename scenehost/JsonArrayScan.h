// A quick reading of one array's contents into a JsonArraySink, for the bulk arrays of a file
// (a million points). It gives the sink exactly the events RapidJSON's reader gives, numbers
// included, bit for bit, but only for the plain text such arrays hold: ASCII strings without
// escapes, numbers of at most 15 digits, and nesting a few levels deep. For anything else it
// gives up, and the caller lets RapidJSON's reader read the array instead, which also finds and
// places every fault.
#pragma once

//
// A template on the sink's own class, so that the events of a million values are direct calls
// that the compiler can inline: a sink's ScanQuickly calls it with itself.
#include "JsonTree.h"
#include "gltfio_json.h"

#include <rapidjson/internal/strtod.h>

#include <cstddef>
#include <cstdint>

namespace scenehost {

namespace arrayscan {

inline constexpr int kMaxDigits = 15; // a significand below 2^53: RapidJSON's exact, quick case
inline constexpr size_t kMaxDepth = 8;

template <class Sink> class ArrayScanner {
public:
    ArrayScanner(const char* text, size_t size, Sink& sink)
        : p_(text), end_(text + size), sink_(sink) {}

    // From just past the array's '['; true with p_ at its ']'.
    bool Scan() {
        bool isArray[kMaxDepth];
        size_t depth = 0;
        isArray[depth++] = true;
        SkipSpace();
        if (At(']')) return true;
        for (;;) {
            // A value, or an object's first member or end.
            if (At('[') || At('{')) {
                if (depth == kMaxDepth) return false;
                bool array = At('[');
                isArray[depth++] = array;
                ++p_;
                if (!(array ? sink_.StartArray() : sink_.StartObject())) return false;
                SkipSpace();
                if (At(array ? ']' : '}')) {
                    --depth;
                    if (!(array ? sink_.EndArray() : sink_.EndObject())) return false;
                    ++p_;
                } else if (!array) {
                    if (!Key()) return false;
                    continue;
                } else {
                    continue;
                }
            } else if (!Value()) {
                return false;
            }
            // After a value: ',' and the next, or the ends of arrays and objects.
            for (;;) {
                SkipSpace();
                if (At(',')) {
                    ++p_;
                    SkipSpace();
                    if (!isArray[depth - 1] && !Key()) return false;
                    break;
                }
                char closing = isArray[depth - 1] ? ']' : '}';
                if (!At(closing)) return false;
                if (--depth == 0) return true;
                if (!(closing == ']' ? sink_.EndArray() : sink_.EndObject())) return false;
                ++p_;
            }
        }
    }

    const char* Position() const { return p_; }

private:
    bool At(char c) const { return p_ < end_ && *p_ == c; }
    bool Digit() const { return p_ < end_ && *p_ >= '0' && *p_ <= '9'; }

    void SkipSpace() {
        while (p_ < end_ && (*p_ == ' ' || *p_ == '\n' || *p_ == '\r' || *p_ == '\t'))
            ++p_;
    }

    // An ASCII string without escapes, p_ at its '"'; p_ past it after.
    bool Text(const char** s, size_t* length) {
        if (!At('"')) return false;
        const char* start = ++p_;
        while (p_ < end_ && *p_ != '"') {
            unsigned char c = static_cast<unsigned char>(*p_);
            if (c < 0x20 || c >= 0x80 || c == '\\') return false;
            ++p_;
        }
        if (p_ == end_) return false;
        *s = start;
        *length = size_t(p_ - start);
        ++p_;
        return true;
    }

    // A member name and its ':', then the space before the value.
    bool Key() {
        const char* s;
        size_t length;
        if (!Text(&s, &length) || !sink_.Key(s, length)) return false;
        SkipSpace();
        if (!At(':')) return false;
        ++p_;
        SkipSpace();
        return true;
    }

    bool Value() {
        if (At('"')) {
            const char* s;
            size_t length;
            return Text(&s, &length) && sink_.String(s, length);
        }
        if (At('n')) {
            if (end_ - p_ < 4 || p_[1] != 'u' || p_[2] != 'l' || p_[3] != 'l') return false;
            p_ += 4;
            return sink_.Null();
        }
        return Number();
    }

    // The number as RapidJSON's reader without full precision reads it: the digits as one
    // integer, then scaled by its own StrtodNormalPrecision.
    bool Number() {
        bool minus = At('-');
        if (minus) ++p_;
        if (!Digit()) return false;
        uint64_t digits = 0;
        int count = 0;
        if (*p_ == '0') {
            ++p_;
        } else {
            while (Digit() && count < 10)
                digits = digits * 10 + unsigned(*p_++ - '0'), ++count;
            if (count > 9) return false; // RapidJSON's 32-bit integer case holds 9 digits
        }
        bool isDouble = false;
        int exponent = 0;
        if (At('.')) {
            ++p_;
            if (!Digit()) return false;
            while (Digit() && count <= kMaxDigits)
                digits = digits * 10 + unsigned(*p_++ - '0'), ++count, --exponent;
            if (count > kMaxDigits) return false;
            isDouble = true;
        }
        if (At('e') || At('E')) {
            ++p_;
            bool expMinus = At('-');
            if (At('+') || At('-')) ++p_;
            int value = 0, expDigits = 0;
            while (Digit() && expDigits < 4)
                value = value * 10 + (*p_++ - '0'), ++expDigits;
            if (expDigits == 0 || expDigits > 3) return false;
            if (!expMinus && value > 308 - exponent) return false; // RapidJSON: too big
            exponent += expMinus ? -value : value;
            isDouble = true;
        }
        if (Digit() || At('.') || At('e') || At('E')) return false;
        if (isDouble) {
            double d = rapidjson::internal::StrtodNormalPrecision(double(digits), exponent);
            return sink_.Double(minus ? -d : d);
        }
        unsigned i = unsigned(digits);
        return minus ? sink_.Int(static_cast<int32_t>(~i + 1)) : sink_.Uint(i);
    }

    const char* p_;
    const char* end_;
    Sink& sink_;
};

} // namespace arrayscan

// Reads the array whose '[' is at `text[open]`, up to `size`, into `sink`. On success returns
// true with `*close` at the array's ']'. Returns false when the array holds something the quick
// reading leaves to RapidJSON, or the sink declined; the sink is then spent.
template <class Sink>
bool ScanJsonArray(const char* text, size_t size, size_t open, Sink& sink, size_t* close) {
    arrayscan::ArrayScanner<Sink> scanner(text + open + 1, size - open - 1, sink);
    if (!scanner.Scan()) return false;
    *close = size_t(scanner.Position() - text);
    return true;
}

} // namespace scenehost
