// The host's services: log and its records, messages and boxes, selection, user values,
// platform facts, instances, and the global object.
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
    const std::pair<QvResult, const char*> levels[] = {
        {qvFailed, "error"}, {qvOutOfRange, "error"}, {qvWarning, "warning"},
        {qvInfo, "info"},    {qvOk, "info"},          {3, "info"}};
    for (const auto& [code, level] : levels) EXPECT_STREQ(LevelOf(code), level) << code;

    host.RemoveLogSubsystem("logsys");
    ComRef<IQvLog> other;
    EXPECT_EQ(logs->SubsystemLookup("logsys", other.out()), qvNotFound);
    EXPECT_FALSE(other);
    EXPECT_EQ(logs->SubsystemLookup("custom", other.out()), qvNotFound);
    host.AddLogSubsystem("custom");
    EXPECT_EQ(logs->SubsystemLookup("custom", other.out()), qvOk);
}

TEST(SceneHostMessages, BoxesShowTheFilledTextAndJoinTheLog) {
    SceneHost host;
    auto messages = Service<IQvMessageService>(host);
    auto boxes = Service<IQvMessageBoxService>(host);
    ComRef<IQvMessage> message;
    ASSERT_EQ(messages->AllocateMessage(message.out()), qvOk);
    message->SetCode(qvWarning);
    EXPECT_EQ(message->SetMessage("common", nullptr, 2020), qvOk);
    EXPECT_EQ(message->SetArgumentString(1, "2 warnings, 1 error"), qvOk);
    EXPECT_EQ(message->SetArgumentString(0, "no such argument"), qvOutOfRange);
    EXPECT_EQ(boxes->ShowMessage(message.get(), nullptr, nullptr, nullptr), qvOk);
    ASSERT_EQ(host.MessageBoxes().size(), 1u);
    EXPECT_EQ(host.MessageBoxes()[0].text, "2 warnings, 1 error");
    EXPECT_EQ(Lines(host), (std::vector<std::string>{"msgbox|warning|0|2 warnings, 1 error"}));

    char buffer[8] = "keep";
    EXPECT_EQ(messages->MessageText(message.get(), buffer, sizeof buffer), qvShortBuffer);
    EXPECT_STREQ(buffer, "keep");
    host.Messages().Define("test", 7, "%2 of %1 (%3)", "count");
    EXPECT_EQ(message->SetMessage("test", "count", 0), qvOk);
    message->SetArgumentInt(1, 10);
    message->SetArgumentInt(2, -3);
    char big[64];
    EXPECT_EQ(messages->MessageText(message.get(), big, sizeof big), qvOk);
    EXPECT_STREQ(big, "-3 of 10 ()");
    EXPECT_EQ(message->SetMessage("common", nullptr, 9999), qvNotFound);
    EXPECT_EQ(message->SetMessage("common", "nokey", 2020), qvNotFound);

    const char* text = nullptr;
    const std::pair<uint32_t, const char*> common[] = {
        {2401, "load/save error"}, {2402, "load/save"}, {2020, "%1"}};
    for (const auto& [id, expected] : common) {
        EXPECT_EQ(messages->TableText("common", id, &text), qvOk);
        EXPECT_STREQ(text, expected);
    }
    EXPECT_EQ(messages->TableText("other", 2020, &text), qvNotFound);
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
    uint32_t itemType = 0, polygon = 0, count = 0;
    ASSERT_EQ(selection->SelectionTypeLookup("item", &itemType), qvOk);
    ComRef<IQvItemPacketTranslation> translation;
    ASSERT_EQ(selection->PacketTranslation("item", translation.out()), qvOk);
    std::vector<std::string> byPacket, byList;
    for (const void* p = selection->SelectionNext(nullptr, itemType); p;
         p = selection->SelectionNext(p, itemType)) {
        ComRef<IQvItem> item;
        EXPECT_EQ(translation->PacketItem(p, item.out()), qvOk);
        byPacket.push_back(NameOf(item.get()));
    }
    selection->SelectedItemCount(&count);
    for (uint32_t i = 0; i < count; ++i) {
        ComRef<IQvItem> item;
        selection->SelectedItemByIndex(i, item.out());
        byList.push_back(NameOf(item.get()));
    }
    EXPECT_EQ(byPacket, (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(byList, byPacket);

    // A packet of an item no longer selected gives nothing.
    const void* packet = selection->SelectionNext(nullptr, itemType);
    host.ClearSelection();
    ComRef<IQvItem> item;
    EXPECT_EQ(translation->PacketItem(packet, item.out()), qvNotFound);
    EXPECT_EQ(selection->SelectionNext(packet, itemType), nullptr);

    ASSERT_EQ(selection->SelectionTypeLookup("polygon", &polygon), qvOk);
    EXPECT_EQ(selection->SelectionNext(nullptr, polygon), nullptr);
    EXPECT_EQ(selection->PacketTranslation("polygon", translation.out()), qvNotFound);
    EXPECT_EQ(selection->SelectionTypeLookup("bone", &polygon), qvNotFound);
}

TEST(SceneHostUserValues, PresentMissingAndUnreadable) {
    SceneHost host;
    host.SetUserInt("exportType", 2);
    host.SetUserString("geometry", "yes");
    auto values = Service<IQvUserValueService>(host);
    ComRef<IQvUserValue> value;
    int32_t v = 99;
    ASSERT_EQ(values->UserValueLookup("exportType", value.out()), qvOk);
    EXPECT_EQ(value->GetInt(&v), qvOk);
    EXPECT_EQ(v, 2);
    ASSERT_EQ(values->UserValueLookup("geometry", value.out()), qvOk);
    v = 99;
    EXPECT_TRUE(QvFailed(value->GetInt(&v)));
    EXPECT_EQ(v, 99);
    const char* text = nullptr;
    EXPECT_EQ(value->GetString(&text), qvOk);
    EXPECT_STREQ(text, "yes");
    EXPECT_EQ(values->UserValueLookup("cameras", value.out()), qvNotFound);
    EXPECT_EQ(host.Count("UserValueLookup:cameras"), 1);
    EXPECT_EQ(host.Count("UserValueLookup:exportType"), 1);
    host.RemoveUserValue("exportType");
    EXPECT_EQ(values->UserValueLookup("exportType", value.out()), qvNotFound);
}

TEST(SceneHostServices, GlobalObjectServesThePlatformAndOutlivesItsHost) {
    IQvGlobal* kept = nullptr;
    {
        SceneHost host;
        kept = host.Global();
        kept->AddRef(); // as a plug-in keeps it
        ComRef<IQvPlatformService> platform;
        ASSERT_EQ(kept->LookupService(IQvPlatformService::iid, platform.outVoid()), qvOk);
        const char* text = nullptr;
        platform->PlatformName(&text);
        EXPECT_STREQ(text, "Vorn");
        platform->PlatformVersion(&text);
        EXPECT_STREQ(text, "11.2");
        host.Platform().build = "9000";
        platform->PlatformBuild(&text);
        EXPECT_STREQ(text, "9000");
        ComRef<IQvUnknown> missing;
        EXPECT_EQ(kept->LookupService(IQvPersistenceService::iid, missing.outVoid()), qvNotFound);
        EXPECT_EQ(host.Count("LookupService:platform"), 1);
        EXPECT_EQ(host.Count("LookupService:persistence"), 1);
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
    Item& group = scene.AddItem("deformGroup", "Skin").Link("deformers", scene.AddItem("locator", "Joint"));
    group.Link("deformers", cube);
    ComRef<IQvItem> source;
    EXPECT_EQ(Service<IQvSceneService>(host)->InstanceSource(&copy, source.out()), qvOk);
    EXPECT_EQ(NameOf(source.get()), "Cube");
    EXPECT_EQ(Service<IQvSceneService>(host)->InstanceSource(&cube, source.out()), qvNotFound);
    uint32_t count = 0;
    EXPECT_EQ(Service<IQvDeformerService>(host)->GroupMeshCount(&group, &count), qvOk);
    EXPECT_EQ(count, 1u); // the joint is no mesh
}
