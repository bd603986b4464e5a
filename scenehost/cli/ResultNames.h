// Result codes in words, for qvhost's own messages.
#pragma once

#include "qv/core.h"

#include <string>

namespace qvhost {

// "0x80000009", followed for a code the sdk names by its name and meaning:
// "0x80000009 qvSceneUnusable: the scene could not be bound".
std::string DescribeResult(QvResult result);

} // namespace qvhost
