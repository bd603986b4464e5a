// The fuzz target's entry: any bytes as a scene file. Shared by the libFuzzer build and by the
// replay program that the ordinary test builds run over the seeds and the saved crashers.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
