// The host's services: the log and its records, selection, instances and deform groups, and the
// global object. Message boxes, user values and platform facts are seen through the plug-in's
// own tests, which check the texts and values they give.
#include "HostTestUtil.h"

using namespace scenehost;
using namespace hosttest;

namespace {

ComRef<IQvLogEntry> Entry(IQvLogService* logs, QvResult code, const char* text) {
    ComRef<IQvLogEntry> entry;
    EXPECT_EQ(logs->CreateEntry(code, text, entry.out()), qvOk);
    return entry;
}

std::vector<std::string> Lines(const SceneHost& host) {
    std::vector<std::string> lines;
    for (const LogRecord& r : host.Log())
        lines.push_back(r.subsystem + "|" + r.level + "|" + std::to_string(r.depth) + "|" + r.text);
    return lines;
}

} // namespace

TEST(SceneHostLog, EntriesAreRecordedWhenTheyReachTheLogWithDepthAndLevel) {
    SceneHost host;
    auto logs = Service<IQvLogService>(host);
    ComRef<IQvLog> status;
    ASSERT_EQ(logs->SubsystemLookup("io-status", status.out()), qvOk);
    // A master entry added first, its children later; and one whose child came before it.
    ComRef<IQvLogEntry> master = Entry(logs.get(), qvInfo, "gltf: load/save");
    status->AddEntry(master.get());
    master->AddChild(Entry(logs.get(), qvInfo, "first").get());
    ComRef<IQvLogEntry> nested = Entry(logs.get(), qvWarning, "second");
    nested->AddChild(Entry(logs.get(), qvFailed, "inner").get());
    master->AddChild(nested.get());
    ComRef<IQvLogEntry> loose = Entry(logs.get(), qvOutOfRange, "not added anywhere");
    EXPECT_EQ(Lines(host), (std::vector<std::string>{
                               "io-status|info|0|gltf: load/save", "io-status|info|1|first",
                               "io-status|warning|1|second", "io-status|error|2|inner"}));
    EXPECT_EQ(host.Log()[3].code, qvFailed);
    EXPECT_STREQ(LevelOf(qvOutOfRange), "error"); // any failure code
    EXPECT_STREQ(LevelOf(3), "info");
    host.AddLogSubsystem("custom");
    ComRef<IQvLog> custom;
    EXPECT_EQ(logs->SubsystemLookup("custom", custom.out()), qvOk);
}

TEST(SceneHostSelection, PacketsAndTheListGiveTheSameItemsInSelectionOrder) {
    SceneHost host;
    Item& b = host.Scene().AddItem("locator", "B");
    Item& a = host.Scene().AddItem("locator", "A");
    Item& c = host.Scene().AddItem("locator", "C");
    host.Select(a);
    host.Select(b);
    host.Select(a); // already selected: stays first
    host.Select(c);
    host.Deselect(c);
    auto selection = Service<IQvSelectionService>(host);
    uint32_t itemType = 0, count = 0;
    ASSERT_EQ(selection->SelectionTypeLookup("item", &itemType), qvOk);
    ComRef<IQvItemPacketTranslation> translation;
    ASSERT_EQ(selection->PacketTranslation("item", translation.out()), qvOk);
    std::vector<std::string> byPacket, byList;
    ComRef<IQvItem> item;
    const void* p = nullptr;
    while ((p = selection->SelectionNext(p, itemType)))
        if (QvSucceeded(translation->PacketItem(p, item.out())))
            byPacket.push_back(NameOf(item.get()));
    selection->SelectedItemCount(&count);
    for (uint32_t i = 0; i < count; ++i)
        if (QvSucceeded(selection->SelectedItemByIndex(i, item.out())))
            byList.push_back(NameOf(item.get()));
    EXPECT_EQ(byPacket, (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(byList, byPacket);

    // A packet of an item no longer selected gives nothing.
    const void* packet = selection->SelectionNext(nullptr, itemType);
    host.ClearSelection();
    EXPECT_EQ(translation->PacketItem(packet, item.out()), qvNotFound);
    EXPECT_EQ(selection->SelectionNext(packet, itemType), nullptr);
    EXPECT_EQ(selection->PacketTranslation("polygon", translation.out()), qvNotFound);
}

TEST(SceneHostServices, GlobalObjectOutlivesItsHostAndThenAnswersNothing) {
    IQvGlobal* kept = nullptr;
    {
        SceneHost host;
        kept = host.Global();
        kept->AddRef(); // as a plug-in keeps it
        ComRef<IQvPlatformService> platform;
        ASSERT_EQ(kept->LookupService(IQvPlatformService::iid, platform.outVoid()), qvOk);
        ComRef<IQvUnknown> missing;
        EXPECT_EQ(kept->LookupService(IQvMonitor::iid, missing.outVoid()), qvNotFound);
        EXPECT_EQ(host.Count("LookupService:platform"), 1);
        EXPECT_EQ(host.Count("LookupService:unknown"), 1);
    }
    void* service = nullptr;
    EXPECT_EQ(kept->LookupService(IQvSceneService::iid, &service), qvNotFound);
    EXPECT_EQ(service, nullptr);
    kept->Release();
}

TEST(SceneHostServices, InstancesAndDeformGroupsFollowTheirGraphs) {
    SceneHost host;
    Scene& scene = host.Scene();
    Item& cube = scene.AddItem("mesh", "Cube");
    Item& copy = scene.AddItem("meshInst", "Copy").Link("source", cube);
    Item& group = scene.AddItem("deformGroup", "Skin");
    group.Link("deformers", scene.AddItem("locator", "Joint"));
    group.Link("deformers", cube);
    ComRef<IQvItem> source;
    EXPECT_EQ(Service<IQvSceneService>(host)->InstanceSource(&copy, source.out()), qvOk);
    EXPECT_EQ(NameOf(source.get()), "Cube");
    EXPECT_EQ(Service<IQvSceneService>(host)->InstanceSource(&cube, source.out()), qvNotFound);
    uint32_t count = 0;
    EXPECT_EQ(Service<IQvDeformerService>(host)->GroupMeshCount(&group, &count), qvOk);
    EXPECT_EQ(count, 1u); // the joint is no mesh
}

namespace {

// A value array as a plug-in makes its own: texts only.
class TextArray final : public Transient<IQvValueArray> {
public:
    std::vector<std::string> texts;
    QvResult Count(uint32_t* count) override {
        *count = uint32_t(texts.size());
        return qvOk;
    }
    QvResult GetInt(uint32_t, int32_t*) override { return qvFailed; }
    QvResult GetString(uint32_t, char*, uint32_t) override { return qvFailed; }
    QvResult AddInt(int32_t) override { return qvFailed; }
    QvResult AddString(const char* value) override {
        texts.push_back(value);
        return qvOk;
    }
};

// Spawns "item.exportTags" with the arguments the plug-in gives it and queries "tag".
struct ExportTags {
    ComRef<IQvCommand> command;
    QvResult spawned, queried = qvFailed;
    std::vector<std::string> tags;

    ExportTags(SceneHost& host, IQvUnknown* item, const char* itemType = "actionclip") {
        spawned =
            Service<IQvCommandService>(host)->SpawnCommand(0, "item.exportTags", command.out());
        if (QvFailed(spawned)) return;
        auto arguments = Query<IQvAttributes>(command.get());
        uint32_t itemIndex = 9, typeIndex = 9, tagTypeIndex = 9, tagIndex = 9;
        EXPECT_EQ(arguments->Lookup("item", &itemIndex), qvOk);
        EXPECT_EQ(arguments->Lookup("itemType", &typeIndex), qvOk);
        EXPECT_EQ(arguments->Lookup("tagType", &tagTypeIndex), qvOk);
        EXPECT_EQ(arguments->Lookup("tag", &tagIndex), qvOk);
        ComRef<IQvValueReference> ref;
        EXPECT_EQ(arguments->Value(itemIndex, 1, ref.out()), qvOk);
        EXPECT_EQ(ref->SetObject(item), qvOk);
        EXPECT_EQ(arguments->SetString(typeIndex, itemType), qvOk);
        EXPECT_EQ(arguments->SetInt(tagTypeIndex, 0), qvOk);
        EXPECT_EQ(arguments->SetString(tagIndex, ""), qvOk);
        ComRef<TextArray> values(new TextArray, false);
        queried = command->Query(tagIndex, values.get());
        tags = values->texts;
    }
    ExportTags(SceneHost& host, Item& item, const char* itemType = "actionclip")
        : ExportTags(host, static_cast<IQvItem*>(&item), itemType) {}
    // The outcome as the plug-in reads it: the code, and the text through the message service.
    std::string Outcome(SceneHost& host) {
        ComRef<IQvMessage> message;
        QvResult code = 7;
        EXPECT_EQ(command->Message(message.out()), qvOk);
        EXPECT_EQ(message->Code(&code), qvOk);
        char text[256] = "";
        Service<IQvMessageService>(host)->MessageText(message.get(), text, sizeof text);
        return std::to_string(code) + " " + text;
    }
};

} // namespace

TEST(SceneHostCommands, ExportTagsGivesAClipsTagIntoTheCallersArrayOrSaysWhy) {
    SceneHost host;
    const std::string longTag(700, 'x'); // longer than a first buffer of 512 bytes
    Item& walk = host.Scene().AddItem("actionclip", "Walk").ExportTag("loop;" + longTag);
    Item& idle = host.Scene().AddItem("actionclip", "Idle");
    Item& cube = host.Scene().AddItem("mesh", "Cube");
    {
        ExportTags run(host, Query<IQvActionClip>(static_cast<IQvItem*>(&walk)).get());
        ASSERT_EQ(run.spawned, qvOk);
        EXPECT_EQ(run.queried, qvOk);
        EXPECT_EQ(run.tags, std::vector<std::string>{"loop;" + longTag});
        EXPECT_EQ(run.Outcome(host), "0 ");
        EXPECT_GT(host.HeldReferences(), 0); // the command holds the clip
    }
    EXPECT_EQ(host.HeldReferences(), 0);
    EXPECT_EQ(ExportTags(host, idle).tags, std::vector<std::string>{""});

    ExportTags mesh(host, cube);
    EXPECT_EQ(mesh.queried, qvFailed);
    EXPECT_TRUE(mesh.tags.empty());
    EXPECT_EQ(mesh.Outcome(host),
              std::to_string(qvFailed) + " item.exportTags: 'Cube' is no action clip");
    EXPECT_EQ(ExportTags(host, walk, "mesh").Outcome(host),
              std::to_string(qvFailed) + " item.exportTags: no tags for items of type 'mesh'");

    EXPECT_EQ(host.Count("SpawnCommand:item.exportTags"), 4);
    host.RemoveCommand("item.exportTags");
    ComRef<IQvCommand> absent;
    EXPECT_EQ(ExportTags(host, walk).spawned, qvNotFound);
    EXPECT_EQ(Service<IQvCommandService>(host)->SpawnCommand(0, "item.other", absent.out()),
              qvNotFound);
    EXPECT_THROW(host.RemoveCommand("item.other"), std::invalid_argument);
}
