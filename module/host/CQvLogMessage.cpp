#include "host/CQvLogMessage.h"

#include "host/CQvGlobals.h"

namespace {

// Text of a message of the host's "common" table, or the fallback when it cannot be read.
std::string TableTextOr(IQvMessageService* service, uint32_t number, const char* fallback) {
    const char* text = nullptr;
    if (service && QvSucceeded(service->TableText(qvMsgTableCommon, number, &text)) && text)
        return text;
    return fallback;
}

std::string PlatformText(IQvPlatformService* service,
                         QvResult (IQvPlatformService::*query)(const char**)) {
    const char* text = nullptr;
    if (service && QvSucceeded((service->*query)(&text)) && text) return text;
    return std::string();
}

} // namespace

CQvLogMessage::CQvLogMessage(const char* subsystem) : subsystem(subsystem) {
    CQvGlobals::LookupService(logService);
    CQvGlobals::LookupService(messageService);
    EnsureSubsystem();
}

bool CQvLogMessage::EnsureSubsystem() {
    if (!log && logService) logService->SubsystemLookup(subsystem.c_str(), log.out());
    return log.test();
}

const std::string& CQvLogMessage::Caption(bool isError) {
    std::string& title = isError ? errorTitle : infoTitle;
    if (title.empty()) {
        std::string caption =
            isError ? TableTextOr(messageService.get(), qvMsgCommonLoadSaveError, "load/save error")
                    : TableTextOr(messageService.get(), qvMsgCommonLoadSave, "load/save");
        title = std::string(GetFormat()) + ": " + caption;
    }
    return title;
}

void CQvLogMessage::OpenMasterEntry(bool isError, const char* text) {
    if (!EnsureSubsystem()) return;
    CQvUser_LogEntry entry;
    QvResult level = isError ? qvWarning : qvInfo; // deliberate: errors too open at warning level
    if (QvFailed(logService->CreateEntry(level, Caption(isError).c_str(), entry.out())) || !entry)
        return;
    log->AddEntry(entry.get());
    master = entry;
    AddToMaster(text);
}

void CQvLogMessage::AddToMaster(const char* text) {
    CQvUser_LogEntry entry;
    if (!master || !logService || QvFailed(logService->CreateEntry(qvInfo, text, entry.out())) ||
        !entry)
        return;
    master->AddChild(entry.get());
}

CQvHarrowLogMessage::CQvHarrowLogMessage(const char* subsystem) : CQvLogMessage(subsystem) {
    CQvGlobals::LookupService(platformService);
}

const char* CQvHarrowLogMessage::GetVersion() {
    if (!versionBuilt) {
        IQvPlatformService* p = platformService.get();
        version = PlatformText(p, &IQvPlatformService::PlatformName) + " " +
                  PlatformText(p, &IQvPlatformService::PlatformVersion) + " [Build " +
                  PlatformText(p, &IQvPlatformService::PlatformBuild) + "], " +
                  PlatformText(p, &IQvPlatformService::PlatformText1) + " (" +
                  PlatformText(p, &IQvPlatformService::PlatformText2) + ")";
        versionBuilt = true;
    }
    return version.c_str();
}

const char* CQvHarrowLogMessage::GetNotice() {
    return "Exported files are meant for glTF 2.0 viewers outside the host.";
}
