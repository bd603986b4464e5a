// The binary buffer: views and accessors around chunks, and the bytes the chunks become.
#include "DocumentTestSupport.h"

#include "document/GltfOutput.h"

using namespace doctests;

namespace {

struct ChunkDocument {
    ChunkDocument() {
        document.CreateScene();
        document.BeginJson("");
    }
    std::string Streamed(bool copyImages = false, const std::string& directory = "") const {
        GltfStringStream stream;
        document.WriteChunks(stream, copyImages, directory);
        return stream.Bytes();
    }
    rapidjson::Document Finished() {
        document.FinishJson();
        return ParseJson(gltfjson::serializeJson(document.json->root));
    }
    GltfDocument document;
};

} // namespace

TEST(GltfChunks, ViewsStayOnTheFourByteGrid) {
    ChunkDocument d;
    EXPECT_EQ(d.document.AddChunkView(GltfBufferChunk::FromFloats({1, 2, 3})), 0u);
    // Three 16-bit indices: 6 bytes of data, 2 of pad, all counted in the view.
    EXPECT_EQ(d.document.AddChunkView(GltfBufferChunk::FromUint16({1, 2, 3})), 1u);
    EXPECT_EQ(d.document.AddChunkView(GltfBufferChunk::FromUint32({7})), 2u);

    rapidjson::Document json = d.Finished();
    EXPECT_EQ(ToText(json["bufferViews"]), R"([{"buffer":0,"byteLength":12},)"
                                           R"({"buffer":0,"byteLength":8,"byteOffset":12},)"
                                           R"({"buffer":0,"byteLength":4,"byteOffset":20}])");
    EXPECT_EQ(ToText(json["buffers"]), R"([{"byteLength":24}])");
    EXPECT_EQ(d.document.chunks[1].padBytes, 2u);
    EXPECT_EQ(GltfBufferChunk::FromUint16({1, 2}).padBytes, 0u);
}

TEST(GltfChunks, NumbersAreStreamedWithTheirPad) {
    ChunkDocument d;
    d.document.AddChunk(GltfBufferChunk::FromUint16({1, 2, 0x0304}));
    d.document.AddChunk(GltfBufferChunk::FromUint32({0x01020304}));
    d.document.AddChunk(GltfBufferChunk::FromFloats({1.0f}));
    GltfBufferChunk unknown = GltfBufferChunk::FromUint32({9});
    unknown.kind = static_cast<GltfChunkKind>(9); // no content, but its pad
    unknown.padBytes = 2;
    d.document.AddChunk(unknown);

    const std::string expected("\x01\x00\x02\x00\x04\x03\x00\x00"
                               "\x04\x03\x02\x01"
                               "\x00\x00\x80\x3f"
                               "\x00\x00",
                               18);
    EXPECT_EQ(d.Streamed(), expected);
    EXPECT_EQ(d.Streamed(), expected) << "streaming leaves the chunks as they were";
}

TEST(GltfChunks, GlbImageIsReadWithZeroFillAndPad) {
    ScratchDir scratch;
    WriteBytes(scratch.Path("image.tga"), "ABCDE");
    ChunkDocument d;
    d.document.AddChunk(GltfBufferChunk::ForImage(scratch.Host("image.tga"), 8, 3));
    // A file shorter than its chunk (it changed since it was measured) leaves zeros.
    d.document.AddChunk(GltfBufferChunk::ForImage(scratch.Host("image.tga"), 8, 0));
    d.document.AddChunk(GltfBufferChunk::ForImage(scratch.Host("gone.tga"), 4, 0));

    EXPECT_EQ(d.Streamed(), std::string("ABCDE\0\0\0ABCDE\0\0\0\0\0\0\0", 20));
}

TEST(GltfChunks, GltfImagesAreCopiedButNeverOntoThemselves) {
    ScratchDir scratch;
    fs::create_directories(scratch.Path("out"));
    WriteBytes(scratch.Path("image.png"), std::string("PNG\0data", 8));
    ChunkDocument d;
    d.document.AddChunk(GltfBufferChunk::ForImage(scratch.Host("image.png"), 8, 0));

    EXPECT_EQ(d.Streamed(true, scratch.Host("out") + "\\"), "");
    EXPECT_EQ(ReadBytes(scratch.Path("out/image.png")), std::string("PNG\0data", 8));

    // Same directory, once by the same name and once by another spelling of it.
    EXPECT_EQ(d.Streamed(true, scratch.Host("")), "");
    EXPECT_EQ(d.Streamed(true, scratch.Host("out") + "\\..\\"), "");
    EXPECT_EQ(ReadBytes(scratch.Path("image.png")), std::string("PNG\0data", 8));
}

// Lengths are summed in 64 bits: an image of 4 GiB or more counts by its true size, whatever its
// 32-bit measure said, and a .glb that cannot state its length is not written at all.
TEST(GltfChunks, LengthsPastThirtyTwoBitsFailTheGlbBeforeWriting) {
    ScratchDir scratch;
    WriteBytes(scratch.Path("huge.png"), "");
    if (::truncate(scratch.Path("huge.png").c_str(), (4LL << 30) + 8) != 0) GTEST_SKIP();
    ChunkDocument d;
    d.document.AddChunkView(GltfBufferChunk::ForImage(scratch.Host("huge.png"), 8, 0));
    d.document.AddChunkView(GltfBufferChunk::FromFloats({1.0f}));
    EXPECT_EQ(StreamedChunkLength(d.document.chunks, false), (4ULL << 30) + 12);
    EXPECT_EQ(StreamedChunkLength(d.document.chunks, true), 4u) << "copied images add nothing";
    EXPECT_EQ(GlbFileLength(5, 1), 12u + 8 + 8 + 8 + 4);
    d.Finished();
    EXPECT_FALSE(d.document.WriteGlbFile(scratch.Host("out.glb"), d.document.json->root));
    EXPECT_FALSE(fs::exists(scratch.Path("out.glb")));
}
