// The host's item types: names, codes, super-types and one channel layout per type.
//
// A derived type's layout starts with its super-type's channels, in the same order, so a channel
// has the same index on every item of a type and of the types below it. Codes are given in the
// order of the catalogue, starting at 1 (0 means "no such type"), and never change: a plug-in
// may keep a code it looked up once for the life of the process, across hosts.
#pragma once

#include "ChannelValue.h"

#include "qv/core.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace scenehost {

struct ChannelDef {
    std::string name;
    ChannelKind kind;
    ChannelValue defaultValue;
};

struct TypeDef {
    std::string name;
    QvTypeCode code = 0;
    QvTypeCode super = 0; // 0 for a root type
    std::vector<ChannelDef> channels;
    std::map<std::string, uint32_t> channelIndex;

    // The index of a channel, or -1.
    int32_t Channel(const std::string& channelName) const;
};

class TypeTree {
public:
    TypeTree(); // the catalogue of the host's types

    // By name: null for an unknown name or one the scene made absent.
    const TypeDef* Find(const std::string& name) const;
    // By code: null for 0 or an unknown code. Absent types still answer by code, since items of
    // derived types name them as their super-type.
    const TypeDef* Find(QvTypeCode code) const;
    // Whether `type` is `ancestor` or derives from it.
    bool Derives(QvTypeCode type, QvTypeCode ancestor) const;
    bool Derives(QvTypeCode type, const std::string& ancestorName) const;

    // Makes a name fail to look up, as in a host that lacks that type.
    void Hide(const std::string& name);
    const std::vector<TypeDef>& All() const { return types_; }

private:
    void Define(const std::string& name, const std::string& super, std::vector<ChannelDef> own);
    void DefineLocators();
    void DefineTransforms();
    void DefineShading();
    void DefineOthers();

    std::vector<TypeDef> types_; // code = index + 1
    std::map<std::string, QvTypeCode> byName_;
    std::set<std::string> hidden_;
};

} // namespace scenehost
