// Log message bases: a log subsystem with master entries and their captions (CQvLogMessage),
// and the platform's version line (CQvHarrowLogMessage). GltfLogMsg adds the routes.
#pragma once

#include "host/CQvUser.h"

#include <string>

class CQvLogMessage {
public:
    explicit CQvLogMessage(const char* subsystem);
    virtual ~CQvLogMessage() = default;

    virtual const char* GetFormat() = 0;
    virtual const char* GetVersion() = 0;
    virtual const char* GetNotice() = 0;

    // Binds the log subsystem if it is not bound yet; true when it is bound.
    bool EnsureSubsystem();

protected:
    // Opens a new master entry on the subsystem, "FORMAT: caption", and adds `text` under it.
    // Errors and warnings use the error caption and level.
    void OpenMasterEntry(bool isError, const char* text);
    // Adds `text` as a child of the open master entry.
    void AddToMaster(const char* text);
    bool HasMasterEntry() const { return master.test(); }

    IQvLogService* LogService() const { return logService.get(); }
    IQvMessageService* MessageService() const { return messageService.get(); }

private:
    const std::string& Caption(bool isError);

    std::string subsystem;
    std::string infoTitle;
    std::string errorTitle;
    CQvUser_LogService logService;
    CQvUser_MessageService messageService;
    CQvUser_Log log;
    CQvUser_LogEntry master;
};

class CQvHarrowLogMessage : public CQvLogMessage {
public:
    explicit CQvHarrowLogMessage(const char* subsystem);
    const char* GetVersion() override;
    const char* GetNotice() override;

private:
    CQvUser_PlatformService platformService;
    std::string version;
    bool versionBuilt = false;
};
