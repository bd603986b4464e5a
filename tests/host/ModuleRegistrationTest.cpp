// The module as the host meets it: the one exported symbol and its server objects. The servers'
// order and tags, as a host lists them, are checked through qvhost (tests/cli).
#include "host/CQvThisModule.h"
#include "host/CQvUser.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

CQvUser_<IQvModule> CreateModule() {
    CQvUser_<IQvModule> module;
    IQvUnknown* object = CQvModuleCreate();
    EXPECT_NE(object, nullptr);
    module.bind(object);
    object->Release();
    return module;
}

} // namespace

TEST(ModuleRegistration, SecondCreateRegistersNothingAgain) {
    auto first = CreateModule();
    auto second = CreateModule();
    EXPECT_NE(first.get(), second.get());
    uint32_t count = 0;
    EXPECT_EQ(second->ServerCount(&count), qvOk);
    EXPECT_EQ(count, 3u);
}

TEST(ModuleRegistration, ServerObjectsAnswerTheirInterfacesOnly) {
    auto module = CreateModule();
    CQvUser_<IQvSaver> saver;
    EXPECT_EQ(module->Generate("gltf.gltf", IQvSaver::iid, saver.outVoid()), qvOk);
    ASSERT_TRUE(saver.test());
    CQvUser_<IQvCommand> command;
    EXPECT_FALSE(command.bind(saver.get()));
    EXPECT_TRUE(command.bind(nullptr) == false);

    CQvUser_<IQvSaver> none;
    EXPECT_EQ(module->Generate("gltf.fbx", IQvSaver::iid, none.outVoid()), qvNotFound);
    EXPECT_FALSE(none.test());
}

TEST(ModuleFile, ExportsOnlyTheEntryFunction) {
    std::string command = std::string("nm -D --defined-only ") + GLTFIO_PLUGIN_PATH;
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::vector<std::string> functions;
    char line[512];
    while (std::fgets(line, sizeof line, pipe)) {
        char type = 0;
        char name[400] = {};
        if (std::sscanf(line, "%*s %c %399s", &type, name) == 2 && (type == 'T' || type == 'W'))
            functions.emplace_back(name);
    }
    pclose(pipe);
    EXPECT_EQ(functions, std::vector<std::string>{"_IQvModule_Create"});
}
