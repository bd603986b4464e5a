#include "JsonTree.h"

#include "gltfio_json.h"

#include <memory>
#include <unordered_map>

namespace scenehost {

const JsonMember* JsonNode::Find(const std::string& name) const {
    for (const JsonMember& m : members)
        if (m.name == name) return &m;
    return nullptr;
}

namespace {

// A string stream that RapidJSON reads in place. Its own StringStream is copied into a local
// while a string or number is read, so its Tell() lags during those events; this one has no
// copy optimisation, so Tell() is exact in every event. At the end it gives '\0' and stays
// there: RapidJSON's UTF-8 check takes a truncated character's continuation bytes without
// looking, and would otherwise walk past the text, which need not end in a '\0' at all (a
// mapped file does not).
class TrackedStream {
public:
    typedef char Ch;
    explicit TrackedStream(std::string_view text)
        : head_(text.data()), src_(head_), end_(head_ + text.size()) {}
    Ch Peek() const { return src_ < end_ ? *src_ : '\0'; }
    Ch Take() { return src_ < end_ ? *src_++ : '\0'; }
    size_t Tell() const { return static_cast<size_t>(src_ - head_); }
    void Seek(size_t offset) { src_ = head_ + offset; }
    // Output is never asked of an input stream.
    Ch* PutBegin() { return nullptr; }
    void Put(Ch) {}
    void Flush() {}
    size_t PutEnd(Ch*) { return 0; }

private:
    const Ch* head_;
    const Ch* src_;
    const Ch* end_;
};

// Builds the tree from the reader's events, with a stack of open arrays and objects.
class TreeBuilder {
public:
    TreeBuilder(std::string_view text, TrackedStream& stream,
                const JsonArrayRouter* router = nullptr)
        : text_(text), stream_(stream), router_(router) {}

    JsonNode TakeRoot() { return std::move(root_); }
    const JsonError* Error() const { return error_.get(); }
    bool Declined() const { return declined_; }

    bool Null() { return sink_ ? Pass(sink_->Null()) : Add(JsonNode::Kind::Null); }
    bool Bool(bool b) {
        if (sink_) return Pass(sink_->Bool(b));
        return Add(JsonNode::Kind::Bool, [&](JsonNode& n) { n.boolean = b; });
    }
    bool Int(int i) { return sink_ ? Pass(sink_->Int(i)) : Integer(i); }
    bool Uint(unsigned u) { return sink_ ? Pass(sink_->Uint(u)) : Integer(u); }
    bool Int64(int64_t i) { return sink_ ? Pass(sink_->Int64(i)) : Integer(i); }
    bool Uint64(uint64_t u) {
        if (sink_) return Pass(sink_->Uint64(u));
        if (u <= static_cast<uint64_t>(INT64_MAX)) return Integer(static_cast<int64_t>(u));
        // Beyond int64: a plain number; no channel or value takes such an integer anyway.
        return Add(JsonNode::Kind::Number, [&](JsonNode& n) { n.number = static_cast<double>(u); });
    }
    bool Double(double d) {
        if (sink_) return Pass(sink_->Double(d));
        return Add(JsonNode::Kind::Number, [&](JsonNode& n) { n.number = d; });
    }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; } // not asked for
    bool String(const char* s, rapidjson::SizeType length, bool) {
        if (sink_) return Pass(sink_->String(s, length));
        return Add(JsonNode::Kind::String, [&](JsonNode& n) { n.text.assign(s, length); });
    }
    bool StartObject() {
        if (sink_) return ++sinkDepth_, Pass(sink_->StartObject());
        return Open(JsonNode::Kind::Object);
    }
    bool StartArray() {
        if (sink_) return ++sinkDepth_, Pass(sink_->StartArray());
        return Open(JsonNode::Kind::Array);
    }
    bool EndObject(rapidjson::SizeType) {
        if (sink_) return --sinkDepth_, Pass(sink_->EndObject());
        return Close();
    }
    bool EndArray(rapidjson::SizeType) {
        if (sink_ && sinkDepth_ > 0) return --sinkDepth_, Pass(sink_->EndArray());
        if (sink_) return FinishSink();
        return Close();
    }

    bool Key(const char* s, rapidjson::SizeType length, bool) {
        if (sink_) return Pass(sink_->Key(s, length));
        size_t at = Start();
        std::string name(s, length);
        if (const JsonMember* first = FindMember(name)) {
            TextPosition pos = PositionOf(text_, first->nameOffset);
            error_ = std::make_unique<JsonError>(
                at, "duplicate member '" + name + "' (first at line " + std::to_string(pos.line) +
                        ", column " + std::to_string(pos.column) + ")");
            return false; // stops the reader; ParseJson reports error_
        }
        keys_.push_back({name, at});
        Mark();
        return true;
    }

private:
    struct PendingKey {
        std::string name;
        size_t offset;
    };

    size_t Start() const {
        size_t at = mark_;
        while (at < text_.size() && (text_[at] == ' ' || text_[at] == '\t' || text_[at] == '\n' ||
                                     text_[at] == '\r' || text_[at] == ',' || text_[at] == ':'))
            ++at;
        return at;
    }
    void Mark() { mark_ = stream_.Tell(); }

    bool Integer(int64_t i) {
        return Add(JsonNode::Kind::Integer, [&](JsonNode& n) {
            n.integer = i;
            n.number = static_cast<double>(i);
        });
    }

    template <class Fill = void (*)(JsonNode&)>
    bool Add(
        JsonNode::Kind kind, Fill fill = [](JsonNode&) {}) {
        JsonNode node;
        node.kind = kind;
        node.offset = Start();
        fill(node);
        Mark();
        Attach(std::move(node));
        return true;
    }

    bool Open(JsonNode::Kind kind) {
        JsonNode node;
        node.kind = kind;
        node.offset = Start();
        if (open_.size() >= kMaxJsonDepth) {
            error_ = std::make_unique<JsonError>(
                node.offset, "arrays and objects nest deeper than " +
                                 std::to_string(kMaxJsonDepth) + " levels here");
            return false;
        }
        // The iterative reader reports a bracket before it takes it: what follows starts after
        // the bracket whichever reader ran.
        mark_ = node.offset + 1;
        if (router_ && !open_.empty()) {
            path_.push_back(open_.back().kind == JsonNode::Kind::Array ? std::string()
                                                                       : keys_.back().name);
            if (kind == JsonNode::Kind::Array) {
                sink_ = (*router_)(path_);
                if (sink_ && !ScanIntoSink(node.offset)) sink_ = (*router_)(path_); // spent
                if (sink_) {
                    path_.pop_back();
                    sinkDepth_ = 0;
                    sinkOffset_ = node.offset;
                    return true;
                }
            }
        }
        open_.push_back(std::move(node));
        memberIndex_.emplace_back();
        return true;
    }

    bool Close() {
        mark_ = Start() + 1; // past the closing bracket, taken or not
        JsonNode node = std::move(open_.back());
        open_.pop_back();
        memberIndex_.pop_back();
        if (router_ && !open_.empty()) path_.pop_back();
        Attach(std::move(node));
        return true;
    }

    // Reads the sink's array, whose '[' is at `open`, quickly where the sink can, and moves
    // the stream to one character before its ']': the reader takes one character after this
    // event (the '[', as it thinks), so that the next it meets is the ']' and FinishSink follows.
    bool ScanIntoSink(size_t open) {
        size_t close = 0;
        if (stream_.Tell() != open || text_[open] != '[' ||
            !sink_->ScanQuickly(text_.data(), text_.size(), open, &close))
            return false;
        stream_.Seek(close - 1);
        return true;
    }

    // An event inside a sink's array: its answer, noted when it declines.
    bool Pass(bool taken) {
        declined_ = declined_ || !taken;
        return taken;
    }

    // The closing bracket of a sink's array: the array becomes a node that holds the sink.
    bool FinishSink() {
        if (!Pass(sink_->Finish())) return false;
        JsonNode node;
        node.kind = JsonNode::Kind::Array;
        node.offset = sinkOffset_;
        node.sink = std::move(sink_);
        mark_ = stream_.Tell();
        mark_ = Start() + 1; // past the bracket, as in Close
        Attach(std::move(node));
        return true;
    }

    // The member of the innermost open object named `name`, if any. A short object is searched
    // in place; a long one gets an index, so that a file with a million members in one object
    // is read in linear time rather than checked pair by pair.
    const JsonMember* FindMember(const std::string& name) {
        const std::vector<JsonMember>& members = open_.back().members;
        std::unordered_map<std::string, size_t>& index = memberIndex_.back();
        if (members.size() < kIndexedMembers) return open_.back().Find(name);
        for (size_t i = index.size(); i < members.size(); ++i)
            index.emplace(members[i].name, i);
        auto found = index.find(name);
        return found == index.end() ? nullptr : &members[found->second];
    }

    void Attach(JsonNode node) {
        if (open_.empty()) {
            root_ = std::move(node);
        } else if (open_.back().kind == JsonNode::Kind::Array) {
            open_.back().elements.push_back(std::move(node));
        } else {
            open_.back().members.push_back(
                {keys_.back().name, keys_.back().offset, std::move(node)});
            keys_.pop_back();
        }
    }

    std::string_view text_;
    TrackedStream& stream_;
    size_t mark_ = 0;
    static constexpr size_t kIndexedMembers = 32;
    std::vector<JsonNode> open_;
    std::vector<std::unordered_map<std::string, size_t>> memberIndex_; // one per open value
    std::vector<PendingKey> keys_;
    const JsonArrayRouter* router_;
    std::vector<std::string> path_;       // of the open values below the root, when routing
    std::shared_ptr<JsonArraySink> sink_; // taking in the array being read, if any
    size_t sinkDepth_ = 0;                // arrays and objects open inside the sink's array
    size_t sinkOffset_ = 0;
    bool declined_ = false;
    JsonNode root_;
    std::unique_ptr<JsonError> error_;
};

const char* ParseErrorText(rapidjson::ParseErrorCode code) {
    switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
        return "the file is empty";
    case rapidjson::kParseErrorDocumentRootNotSingular:
        return "text after the end of the scene";
    case rapidjson::kParseErrorValueInvalid:
        return "not a JSON value";
    case rapidjson::kParseErrorObjectMissName:
        return "expected a member name in double quotes";
    case rapidjson::kParseErrorObjectMissColon:
        return "expected ':' after the member name";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
        return "expected ',' or '}'";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
        return "expected ',' or ']'";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
        return "bad \\u escape";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
        return "bad surrogate pair";
    case rapidjson::kParseErrorStringEscapeInvalid:
        return "bad escape in a string";
    case rapidjson::kParseErrorStringMissQuotationMark:
        return "a string is not closed";
    case rapidjson::kParseErrorStringInvalidEncoding:
        return "invalid UTF-8 in a string";
    case rapidjson::kParseErrorNumberTooBig:
        return "number too big";
    case rapidjson::kParseErrorNumberMissFraction:
        return "expected digits after the decimal point";
    case rapidjson::kParseErrorNumberMissExponent:
        return "expected digits in the exponent";
    case rapidjson::kParseErrorTermination:
        return "parsing stopped";
    case rapidjson::kParseErrorUnspecificSyntaxError:
        return "syntax error";
    case rapidjson::kParseErrorNone:
        break;
    }
    return "syntax error";
}

} // namespace

JsonNode ParseJson(std::string_view text) {
    return ParseJson(text, JsonArrayRouter());
}

JsonNode ParseJson(std::string_view text, const JsonArrayRouter& router) {
    TrackedStream stream(text);
    TreeBuilder builder(text, stream, router ? &router : nullptr);
    rapidjson::Reader reader;
    rapidjson::ParseResult ok =
        reader.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(
            stream, builder);
    if (!ok && builder.Declined()) throw JsonDeclined();
    if (!ok && builder.Error()) throw *builder.Error();
    if (!ok) throw JsonError(ok.Offset(), ParseErrorText(ok.Code()));
    // A NUL inside the text ends RapidJSON's reading early; what follows must not pass silently.
    if (stream.Tell() < text.size()) throw JsonError(stream.Tell(), "unexpected NUL character");
    return builder.TakeRoot();
}

TextPosition PositionOf(std::string_view text, size_t offset) {
    TextPosition pos;
    for (size_t i = 0; i < offset && i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n') {
            ++pos.line;
            pos.column = 1;
        } else if ((c & 0xC0) != 0x80) { // not a UTF-8 continuation byte
            ++pos.column;
        }
    }
    return pos;
}

std::string Located(const std::string& file, std::string_view text, size_t offset,
                    const std::string& what) {
    TextPosition pos = PositionOf(text, offset);
    return file + ":" + std::to_string(pos.line) + ":" + std::to_string(pos.column) + ": " + what;
}

const char* DescribeKind(const JsonNode& node) {
    switch (node.kind) {
    case JsonNode::Kind::Null:
        return "null";
    case JsonNode::Kind::Bool:
        return "a boolean";
    case JsonNode::Kind::Integer:
        return "an integer";
    case JsonNode::Kind::Number:
        return "a number";
    case JsonNode::Kind::String:
        return "a string";
    case JsonNode::Kind::Array:
        return "an array";
    case JsonNode::Kind::Object:
        return "an object";
    }
    return "a value";
}

} // namespace scenehost
