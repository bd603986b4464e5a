// RapidJSON as every part of gltfio includes it: std::string support on and its assertions
// kept in every build type. A release build defines NDEBUG, which would otherwise turn
// RapidJSON's own assert() into nothing and let a broken invariant write a corrupt file.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace gltfio_json {
[[noreturn]] inline void AssertFailed(const char* expr, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: RapidJSON assertion failed: %s\n", file, line, expr);
    std::abort();
}
} // namespace gltfio_json

#ifndef RAPIDJSON_ASSERT
#define RAPIDJSON_ASSERT(x) ((x) ? (void)0 : ::gltfio_json::AssertFailed(#x, __FILE__, __LINE__))
#endif
#define RAPIDJSON_HAS_STDSTRING 1

#include <rapidjson/document.h>
#include <rapidjson/filewritestream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
