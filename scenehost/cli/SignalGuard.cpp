#include "SignalGuard.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>
#include <unistd.h>

namespace qvhost {

namespace {

std::mutex saveMutex;
std::string stagingFolder; // guarded by saveMutex
std::string outputPath;    // guarded by saveMutex

sigset_t StopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

void WriteToStandardError(const std::string& line) {
    // Nothing to do when it fails: the process is about to end either way.
    static_cast<void>(::write(STDERR_FILENO, line.data(), line.size()));
}

[[noreturn]] void WaitForStopSignal(sigset_t set) {
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
    std::lock_guard<std::mutex> lock(saveMutex);
    std::string line =
        "qvhost: stopped by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    if (!stagingFolder.empty()) {
        // The save goes on in the main thread meanwhile and may add a file between the removal's
        // listing and its last step; a second pass takes that one.
        std::error_code error;
        for (int pass = 0; pass < 3 && std::filesystem::exists(stagingFolder, error); ++pass)
            std::filesystem::remove_all(stagingFolder, error);
        line += "; nothing was saved and " + outputPath + " was left as it was";
    }
    WriteToStandardError(line + "\n");
    // Straight out: no destructor of the main thread's objects runs behind its back.
    _exit(128 + signal);
}

} // namespace

void InstallSignalGuard() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t set = StopSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::thread(WaitForStopSignal, set).detach();
}

std::unique_lock<std::mutex> HoldSignals() {
    return std::unique_lock<std::mutex>(saveMutex);
}

void SetInterruptedSave(const std::string& folder, const std::string& output) {
    stagingFolder = folder;
    outputPath = output;
}

} // namespace qvhost
