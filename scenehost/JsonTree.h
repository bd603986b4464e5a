// JSON read into a small tree that remembers where each value and member name stood in the text,
// so that a scene file can be refused with the line and column of the offending value.
//
// RapidJSON's reader reports events, not positions; the handler here notes the stream offset
// after each event, and a value starts at the first character after that which is neither
// whitespace nor a separator (',' or ':'). Offsets turn into line and column only when an error
// is reported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace scenehost {

struct JsonMember;
class JsonArraySink;

struct JsonNode {
    enum class Kind { Null, Bool, Integer, Number, String, Array, Object };

    Kind kind = Kind::Null;
    bool boolean = false;
    int64_t integer = 0; // Kind::Integer: a literal without fraction or exponent
    double number = 0.0; // Kind::Integer and Kind::Number
    std::string text;
    std::vector<JsonNode> elements;
    std::vector<JsonMember> members; // in the file's order
    size_t offset = 0;
    // Kind::Array read by a sink instead of into `elements` (see ParseJson's router).
    std::shared_ptr<JsonArraySink> sink;

    bool IsNumber() const { return kind == Kind::Integer || kind == Kind::Number; }
    const JsonMember* Find(const std::string& name) const;
};

struct JsonMember {
    std::string name;
    size_t nameOffset = 0;
    JsonNode value;
};

// A fault in a file at a byte offset.
class JsonError : public std::runtime_error {
public:
    JsonError(size_t offset, const std::string& what) : std::runtime_error(what), offset_(offset) {}
    size_t Offset() const { return offset_; }

private:
    size_t offset_;
};

// How deep arrays and objects may nest. A scene file builds its hierarchy from "parent"
// references, so its JSON never needs more than about ten levels; the limit keeps a hostile
// file from building a tree that recursion (the tree's own destructor included) cannot walk.
constexpr size_t kMaxJsonDepth = 256;

// Takes in the contents of one array as it is read, instead of a node per element: a file's
// bulk arrays (a million points) then go into compact storage without a tree in between. The
// calls are the reader's own events for everything between the array's brackets. Any call may
// decline by returning false: the array holds something the sink does not take in (a value of
// another shape, or a fault), and ParseJson then throws JsonDeclined so that the caller can read
// the text the general way, which reports faults with their place.
class JsonArraySink {
public:
    virtual ~JsonArraySink() = default;
    virtual bool Null() = 0;
    virtual bool Bool(bool b) = 0;
    virtual bool Int(int i) = 0;
    virtual bool Uint(unsigned u) = 0;
    virtual bool Int64(int64_t i) = 0;
    virtual bool Uint64(uint64_t u) = 0;
    virtual bool Double(double d) = 0;
    virtual bool String(const char* s, size_t length) = 0;
    virtual bool Key(const char* s, size_t length) = 0;
    virtual bool StartObject() = 0;
    virtual bool EndObject() = 0;
    virtual bool StartArray() = 0;
    virtual bool EndArray() = 0;
    // The array's closing bracket; a sink still in the middle of an element declines.
    virtual bool Finish() = 0;
    // Reads the whole array, whose '[' is at text[open], at once where it can (ScanJsonArray),
    // with `*close` at its ']'; false leaves it to the events above, to a fresh sink.
    virtual bool ScanQuickly(const char* text, size_t size, size_t open, size_t* close) = 0;
};

// Thrown by ParseJson when a sink declined.
class JsonDeclined : public std::runtime_error {
public:
    JsonDeclined() : std::runtime_error("an array was declined") {}
};

// Where an array stands: the member names from the root down, "" for an array's element
// ({"items", "", "mesh", "points"}). Returns the sink for the array there, or null for a tree.
using JsonArrayRouter =
    std::function<std::shared_ptr<JsonArraySink>(const std::vector<std::string>& path)>;

// Parses `text` without recursion; throws JsonError at the fault for broken JSON, nesting deeper
// than kMaxJsonDepth, duplicate member names and invalid UTF-8.
JsonNode ParseJson(std::string_view text);
// The same, with arrays taken in by the sinks `router` hands out; JsonDeclined when one declines.
JsonNode ParseJson(std::string_view text, const JsonArrayRouter& router);

// 1-based line and column of a byte offset; columns count characters, not bytes.
struct TextPosition {
    size_t line = 1;
    size_t column = 1;
};
TextPosition PositionOf(std::string_view text, size_t offset);

// "file:line:column: what" for an error at `offset` of `text`.
std::string Located(const std::string& file, std::string_view text, size_t offset,
                    const std::string& what);

// How a JSON kind is named in messages ("a string", "an object", ...).
const char* DescribeKind(const JsonNode& node);

} // namespace scenehost
