#include "host/CQvGlobals.h"

namespace {
CQvUser_<IQvGlobal> hostGlobal;
}

void CQvGlobals::SetGlobal(IQvGlobal* global) {
    hostGlobal.bind(global);
}

IQvGlobal* CQvGlobals::Global() {
    return hostGlobal.get();
}
