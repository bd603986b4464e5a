// qvhost import and convert: a model read through assimp into a scene.
#include "Commands.h"

#include <iostream>

namespace qvhost {

int RunImport(const Arguments& args) {
    std::cerr << "qvhost: import of " << args.model << " is not built yet\n";
    return kExitBadInput;
}

int RunConvert(const Arguments& args) {
    std::cerr << "qvhost: convert of " << args.model << " is not built yet\n";
    return kExitBadInput;
}

} // namespace qvhost
