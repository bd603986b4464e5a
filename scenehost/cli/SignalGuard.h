// How qvhost meets signals, so that a save never leaves half a result behind.
//
// SIGPIPE and SIGXFSZ are ignored: a log written into a closed pipe, or an output past the file
// size limit, then fails its writes, which qvhost notices, instead of killing the process part
// way. SIGINT, SIGTERM and SIGHUP are blocked in every thread and taken by one thread that waits
// for them: it removes the staging folder of the save under way, says so, and ends the process
// with status 128 + the signal's number. Files already at the output are never touched by it.
#pragma once

#include <mutex>
#include <string>

namespace qvhost {

// Call first in main, before any other thread exists, so that every thread inherits the mask.
void InstallSignalGuard();

// While a guard is held, a signal waits: the staging folder and the moves out of it stay whole.
std::unique_lock<std::mutex> HoldSignals();

// The folder a signal removes (empty: none) and the output named in the message. Call with the
// lock of HoldSignals held.
void SetInterruptedSave(const std::string& stagingFolder, const std::string& output);

} // namespace qvhost
