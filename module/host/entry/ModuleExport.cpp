// The one symbol the loadable module exports. Everything else stays hidden.
#include "host/CQvThisModule.h"

extern "C" __attribute__((visibility("default"))) IQvUnknown* _IQvModule_Create() {
    return CQvModuleCreate();
}
