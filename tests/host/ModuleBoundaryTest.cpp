// What the host gets when a server object cannot be made, or a saver's call throws: a result
// code, never an exception, and nothing left behind.
#include "host/CQvIfc.h"
#include "host/CQvUser.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace {

struct OutOfMemoryWhenMade {
    OutOfMemoryWhenMade() { throw std::bad_alloc(); }
};

struct BrokenWhenMade {
    BrokenWhenMade() { throw std::runtime_error("broken"); }
};

struct ThrowingSaver {
    QvResult Verify(IQvUnknown*, IQvUnknown*) { throw std::bad_alloc(); }
    QvResult Save(IQvUnknown*, const char*, IQvUnknown*) { throw std::logic_error("a bug"); }
};

template <class T> QvResult SpawnTags(void** out) {
    auto factory = CQvMakeFactory<T>([](CQvPolymorph<T>& f) {
        f.template AddInterface<CQvIfc_TagDescription<T>>(static_cast<const QvTagRow*>(nullptr));
    });
    return factory->Spawn(IQvTagDescription::iid, out);
}

} // namespace

TEST(ModuleBoundary, ServerObjectThatCannotBeMadeAnswersWithACode) {
    void* out = nullptr;
    EXPECT_EQ(SpawnTags<OutOfMemoryWhenMade>(&out), qvOutOfMemory);
    EXPECT_EQ(SpawnTags<BrokenWhenMade>(&out), qvFailed);
    EXPECT_EQ(out, nullptr);
}

TEST(ModuleBoundary, SaverCallsThatThrowAnswerWithACode) {
    auto factory = CQvMakeFactory<ThrowingSaver>(
        [](CQvPolymorph<ThrowingSaver>& f) { f.AddInterface<CQvIfc_Saver<ThrowingSaver>>(); });
    CQvUser_<IQvSaver> saver;
    ASSERT_EQ(factory->Spawn(IQvSaver::iid, saver.outVoid()), qvOk);
    EXPECT_EQ(saver->Verify(nullptr, nullptr), qvOutOfMemory);
    EXPECT_EQ(saver->Save(nullptr, "out.glb", nullptr), qvFailed);
}
