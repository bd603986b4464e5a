// The host's global object as the module keeps it. The host hands it over once, right after
// _IQvModule_Create, through the module object's need-context interface; every service is then
// found here by its identifier. Without a host (the global is null) every look-up fails, and
// the code that uses a service treats that as absence.
#pragma once

#include "host/CQvUser.h"

namespace CQvGlobals {

void SetGlobal(IQvGlobal* global);
IQvGlobal* Global();

// Binds `wrapper` to the host service of its interface; false when there is none.
template <class I> bool LookupService(CQvUser_<I>& wrapper) {
    IQvGlobal* global = Global();
    if (!global) {
        wrapper.clear();
        return false;
    }
    void** out = wrapper.outVoid();
    if (QvFailed(global->LookupService(I::iid, out))) {
        wrapper.clear();
        return false;
    }
    return wrapper.test();
}

} // namespace CQvGlobals
