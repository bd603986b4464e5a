// The output-format face of a saver: the file's life around the passes of a save.
#pragma once

class CQvFileFormat {
public:
    virtual ~CQvFileFormat() = default;
    virtual bool Open(const char* path) = 0;
    virtual void SetPass(int pass) = 0;
    virtual bool HasError() = 0;
    virtual void Close() = 0;
};
