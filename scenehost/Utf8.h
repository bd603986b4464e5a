// Text from outside (model files, plug-in messages, scene names) may hold any bytes; a JSON text
// may hold only UTF-8. These make any bytes into UTF-8.
#pragma once

#include <string>

namespace scenehost {

// `text` with each byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string ValidUtf8(const std::string& text);

// `text` with each byte that is not part of valid UTF-8 read as Latin-1, as the names in older
// model files are written: "Terraind\xE4k" becomes "Terraindäk".
std::string Utf8OrLatin1(const std::string& text);

bool IsValidUtf8(const std::string& text);

} // namespace scenehost
