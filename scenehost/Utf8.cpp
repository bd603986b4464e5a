#include "Utf8.h"

namespace scenehost {

namespace {

// Length of the valid UTF-8 sequence at text[i], or 0 when the byte there starts none.
size_t Utf8Length(const std::string& text, size_t i) {
    auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    unsigned char c = byte(i);
    if (c < 0x80) return 1;
    size_t length = 0;
    if (c >= 0xC2 && c <= 0xDF) length = 2;
    if (c >= 0xE0 && c <= 0xEF) length = 3;
    if (c >= 0xF0 && c <= 0xF4) length = 4;
    if (length == 0 || i + length > text.size()) return 0;
    for (size_t k = 1; k < length; ++k)
        if ((byte(i + k) & 0xC0) != 0x80) return 0;
    // Overlong three- and four-byte forms, surrogates and code points past U+10FFFF.
    if ((c == 0xE0 && byte(i + 1) < 0xA0) || (c == 0xED && byte(i + 1) > 0x9F) ||
        (c == 0xF0 && byte(i + 1) < 0x90) || (c == 0xF4 && byte(i + 1) > 0x8F))
        return 0;
    return length;
}

// `text` with each byte that starts no valid sequence replaced by what `repair` makes of it.
template <typename Repair> std::string Repaired(const std::string& text, Repair repair) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        size_t length = Utf8Length(text, i);
        if (length == 0) {
            repair(out, static_cast<unsigned char>(text[i]));
            ++i;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

} // namespace

std::string ValidUtf8(const std::string& text) {
    return Repaired(text, [](std::string& out, unsigned char) { out += "\xEF\xBF\xBD"; });
}

std::string Utf8OrLatin1(const std::string& text) {
    return Repaired(text, [](std::string& out, unsigned char c) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    });
}

bool IsValidUtf8(const std::string& text) {
    for (size_t i = 0; i < text.size(); i += Utf8Length(text, i))
        if (Utf8Length(text, i) == 0) return false;
    return true;
}

} // namespace scenehost
