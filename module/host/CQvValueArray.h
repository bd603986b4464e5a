// A value array that the module hands to the host to be filled (a command's query) and reads
// afterwards. It lives on the caller's stack for the length of the call, like a visitor, so the
// reference count is not used to free it.
#pragma once

#include "host/CQvImpl.h"
#include "qv/value.h"

#include <cstring>
#include <string>
#include <vector>

class CQvImpl_ValueArray final : public IQvValueArray {
public:
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (!out) return qvFailed;
        if (id == IQvValueArray::iid || id == IQvUnknown::iid) {
            *out = static_cast<IQvValueArray*>(this);
            return qvOk;
        }
        return qvNoInterface;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }

    QvResult Count(uint32_t* count) override {
        if (!count) return qvFailed;
        *count = uint32_t(values.size());
        return qvOk;
    }
    QvResult GetInt(uint32_t index, int32_t* value) override {
        if (!value || index >= values.size() || !values[index].isInt) return qvFailed;
        *value = values[index].number;
        return qvOk;
    }
    // The text and its terminator, or qvShortBuffer when they do not fit in `size` bytes.
    QvResult GetString(uint32_t index, char* buffer, uint32_t size) override {
        if (!buffer || index >= values.size() || values[index].isInt) return qvFailed;
        const std::string& text = values[index].text;
        if (text.size() >= size) return qvShortBuffer;
        std::memcpy(buffer, text.c_str(), text.size() + 1);
        return qvOk;
    }
    QvResult AddInt(int32_t value) override {
        return CQvNoThrow([&] {
            values.push_back({true, value, std::string()});
            return qvOk;
        });
    }
    QvResult AddString(const char* value) override {
        if (!value) return qvFailed;
        return CQvNoThrow([&] {
            values.push_back({false, 0, value});
            return qvOk;
        });
    }

private:
    struct Entry {
        bool isInt;
        int32_t number;
        std::string text;
    };
    std::vector<Entry> values;
};
