// The settings command "loaderOptions.gltf": eighteen named, typed load options for a loader
// that lives elsewhere in the host. The module itself reads no glTF.
#pragma once

#include "host/CQvPolymorph.h"
#include "qv/command.h"
#include "qv/value.h"

#include <cstdint>
#include <memory>
#include <vector>

struct LoadOption {
    const char* name;
    const char* typeName; // "boolean", "integer" or "float"
    double defaultValue;
};

class LoadOptionsCmd {
public:
    LoadOptionsCmd();

    static const std::vector<LoadOption>& Options();

    uint32_t Count() const { return uint32_t(values.size()); }
    double Value(uint32_t index) const { return values[index]; }
    void SetValue(uint32_t index, double value) { values[index] = value; }
    // Whether an argument can be changed, given the others.
    bool IsEnabled(uint32_t index) const;
    QvResult Execute();

private:
    double ValueOf(const char* name) const;
    std::vector<double> values;
};

// The command's factory with its interfaces; null when memory runs out.
std::unique_ptr<CQvPolymorphBase> MakeLoadOptionsFactory();
