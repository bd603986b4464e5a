// The module as the host sees it: the object that _IQvModule_Create returns, the registry of
// servers behind it, and the list of start functions that run on the first call.
#pragma once

#include "host/CQvPolymorph.h"

// Appends a server; registration happens once, on the first _IQvModule_Create.
void AddServer(const char* name, CQvPolymorphBase* factory, uint32_t flags = 0);

// Functions that run once when the module starts, after the servers are registered.
void AddModuleStart(void (*start)());

// Provided by the module: registers its servers with AddServer, in the order the host lists them.
void CQvRegisterServers();

// The body of _IQvModule_Create: registers on the first call, then returns a new reference to a
// module object (null if anything went wrong). Tests call it in-process.
IQvUnknown* CQvModuleCreate();
