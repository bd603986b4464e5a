#pragma once
// placeholder: replaced by the log message base classes
class CQvHarrowLogMessage {
public:
    virtual ~CQvHarrowLogMessage() = default;
    virtual const char* GetFormat() = 0;
    virtual const char* GetVersion() = 0;
};
