// The settings command "loaderOptions.gltf": eighteen named, typed load options for a loader
// that lives elsewhere in the host. The module itself reads no glTF.
#pragma once

#include "host/CQvPolymorph.h"
#include "host/CQvUser.h"
#include "options/LoadOptionsIO.h"
#include "qv/command.h"
#include "qv/value.h"

#include <cstdint>
#include <memory>
#include <vector>

struct LoadOption {
    const char* name;
    const char* typeName; // "boolean", "integer" or "float"
    double defaultValue;
    std::vector<QvChoiceHint> hints; // choices shown as a popup; empty for a plain value
};

// Declares the persisted entries of the load options when the host calls it from
// PersistConfigure: "gltfLoadOptions" (single), and inside it one single entry per option,
// named as the attribute, holding one value of the attribute's type.
class LoadPersistOptionsVisitor final : public CQvImpl_AbstractVisitor {
public:
    LoadPersistOptionsVisitor(IQvPersistenceService* service,
                              std::vector<CQvUser_PersistentEntry>* entries)
        : service(service), entries(entries) {}
    QvResult Evaluate() override;

private:
    IQvPersistenceService* service;
    std::vector<CQvUser_PersistentEntry>* entries;
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
    // Hands the values to the host's load options service as a LoadOptionsIO and keeps them in
    // the persisted entries for the next session.
    QvResult Execute();
    LoadOptionsRecord Record() const;

private:
    double ValueOf(const char* name) const;
    // Declares the persisted entries on first use; false when the host keeps none.
    bool Persisted();
    std::vector<double> values;
    std::vector<CQvUser_PersistentEntry> entries; // one per option, after Persisted()
    bool configured = false;
};

// The command's factory with its interfaces; null when memory runs out.
std::unique_ptr<CQvPolymorphBase> MakeLoadOptionsFactory();
