// The module as the host sees it: the object that _IQvModule_Create returns, the registry of
// servers behind it, and the list of start functions that run on the first call.
#pragma once

#include "host/CQvPolymorph.h"

#include <memory>

// Appends a server; registration happens once, on the first _IQvModule_Create. A null factory
// lists a server that makes nothing. qvOutOfMemory when the registry cannot grow, which empties
// it.
QvResult AddServer(const char* name, std::unique_ptr<CQvPolymorphBase> factory, uint32_t flags = 0);

// Functions that run once when the module starts, after the servers are registered.
QvResult AddModuleStart(void (*start)());

// Provided by the module: registers its servers with AddServer, in the order the host lists them,
// and stops at the first failure, which it returns.
QvResult CQvRegisterServers();

// The body of _IQvModule_Create: registers on the first call, then returns a new reference to a
// module object (null if anything went wrong). Tests call it in-process.
IQvUnknown* CQvModuleCreate();
