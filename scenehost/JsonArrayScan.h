// A quick reading of one array's contents into a JsonArraySink, for the bulk arrays of a file
// (a million points). It gives the sink exactly the events RapidJSON's reader gives, numbers
// included, bit for bit, but only for the plain text such arrays hold: ASCII strings without
// escapes, numbers of at most 15 digits, and nesting a few levels deep. For anything else it
// gives up, and the caller lets RapidJSON's reader read the array instead, which also finds and
// places every fault.
#pragma once

#include "JsonTree.h"

#include <cstddef>

namespace scenehost {

// Reads the array whose '[' is at `text[open]`, up to `size`, into `sink`. On success returns
// true with `*close` at the array's ']'. Returns false when the array holds something the quick
// reading leaves to RapidJSON, or the sink declined; the sink is then spent.
bool ScanJsonArray(const char* text, size_t size, size_t open, JsonArraySink& sink, size_t* close);

} // namespace scenehost
