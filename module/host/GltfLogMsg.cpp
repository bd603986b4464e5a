#include "host/GltfLogMsg.h"

#include "host/CQvGlobals.h"

#include <cstdio>

GltfLogMsg::GltfLogMsg() : CQvHarrowLogMessage(qvLogIoStatus) {
    // Deliberate: ShowBox allocates a message of its own for each box, so this one goes unused.
    if (IQvMessageService* messages = MessageService())
        messages->AllocateMessage(messageWrap.out());
    if (IQvLogService* logs = LogService()) logs->SubsystemLookup(qvLogSys, sysLog.out());
}

GltfLogMsg::~GltfLogMsg() = default;

void GltfLogMsg::Format(const char* format, va_list args) {
    // vsnprintf cuts at the buffer's end; a failed format leaves an empty text.
    if (std::vsnprintf(buffer, sizeof buffer, format, args) < 0) buffer[0] = '\0';
}

#define GLTF_FORMAT_ARGS(format)                                                                   \
    va_list args;                                                                                  \
    va_start(args, format);                                                                        \
    Format(format, args);                                                                          \
    va_end(args)

void GltfLogMsg::LogHeader(const char* format, ...) {
    GLTF_FORMAT_ARGS(format);
    OpenMasterEntry(false, buffer);
}

void GltfLogMsg::LogInfo(const char* format, ...) {
    GLTF_FORMAT_ARGS(format);
    if (HasMasterEntry())
        AddToMaster(buffer);
    else
        OpenMasterEntry(false, buffer);
}

void GltfLogMsg::LogWarning(const char* format, ...) {
    GLTF_FORMAT_ARGS(format);
    if (!WriteSysLog(qvWarning)) OpenMasterEntry(true, buffer);
    ++warningCount;
}

void GltfLogMsg::LogError(const char* format, ...) {
    GLTF_FORMAT_ARGS(format);
    if (!WriteSysLog(qvFailed)) OpenMasterEntry(true, buffer);
    ++errorCount;
}

void GltfLogMsg::PopupError(const char* format, ...) {
    GLTF_FORMAT_ARGS(format);
    if (!WriteSysLog(qvFailed)) {
        if (HasMasterEntry())
            AddToMaster(buffer);
        else
            OpenMasterEntry(false, buffer);
    }
    ShowBox(qvFailed);
}

void GltfLogMsg::PopupNotice(const char* format, ...) {
    GLTF_FORMAT_ARGS(format);
    if (!WriteSysLog(qvWarning)) {
        if (HasMasterEntry())
            AddToMaster(buffer);
        else
            OpenMasterEntry(false, buffer);
    }
    ShowBox(qvWarning);
}

// Deliberate: with "logsys" present the text counts as written even when no entry could be made.
bool GltfLogMsg::WriteSysLog(QvResult code) {
    if (!sysLog) return false;
    IQvLogService* logs = LogService();
    if (logs && QvSucceeded(logs->CreateEntry(code, buffer, entryWrap.out())) && entryWrap)
        sysLog->AddEntry(entryWrap.get());
    return true;
}

void GltfLogMsg::ShowBox(QvResult code) {
    IQvMessageService* messages = MessageService();
    CQvUser_MessageBoxService boxes;
    if (!messages || QvFailed(messages->AllocateMessage(messageWrap.out())) || !messageWrap ||
        !CQvGlobals::LookupService(boxes))
        return;
    messageWrap->SetCode(code);
    messageWrap->SetMessage(qvMsgTableCommon, nullptr, qvMsgCommonArgument);
    messageWrap->SetArgumentString(1, buffer);
    boxes->ShowMessage(messageWrap.get(), nullptr, nullptr, nullptr);
}
