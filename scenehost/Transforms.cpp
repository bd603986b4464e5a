#include "Transforms.h"

#include "ChannelRead.h"
#include "Envelopes.h"
#include "Item.h"
#include "Scene.h"

#include <atomic>
#include <cmath>
#include <cstring>

namespace scenehost {

Matrix Identity() {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}

Matrix Multiply(const Matrix& a, const Matrix& b) {
    Matrix out{};
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += a[r * 4 + k] * b[k * 4 + c];
            out[r * 4 + c] = sum;
        }
    return out;
}

Matrix TranslationMatrix(double x, double y, double z) {
    Matrix m = Identity();
    m[12] = x;
    m[13] = y;
    m[14] = z;
    return m;
}

Matrix ScaleMatrix(double x, double y, double z) {
    Matrix m = Identity();
    m[0] = x;
    m[5] = y;
    m[10] = z;
    return m;
}

Matrix ShearMatrix(double xy, double xz, double yz) {
    // Row vectors: x' takes y and z through rows 1 and 2 of column 0, y' takes z through row 2.
    Matrix m = Identity();
    m[4] = xy;
    m[8] = xz;
    m[9] = yz;
    return m;
}

namespace {

Matrix AxisRotation(int axis, double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    Matrix m = Identity();
    // Row-vector form of a right-handed rotation: positive angles turn Y to Z about X, Z to X
    // about Y and X to Y about Z.
    int a = (axis + 1) % 3, b = (axis + 2) % 3;
    m[a * 4 + a] = c;
    m[a * 4 + b] = s;
    m[b * 4 + a] = -s;
    m[b * 4 + b] = c;
    return m;
}

constexpr const char* kOrderNames[6] = {"XYZ", "XZY", "YXZ", "YZX", "ZXY", "ZYX"};

// The three numbers X, Y and Z, which stand at indices 0 to 2 of every transform type.
std::array<double, 3> ReadXyz(const ChannelRead& channels, const Item& item) {
    std::array<double, 3> xyz{};
    ChannelValue scratch = ChannelValue::None(ChannelKind::Double);
    for (uint32_t i = 0; i < 3; ++i)
        channels.Resolve(item, i, scratch).AsDouble(&xyz[i]);
    return xyz;
}

// The codes of the transform types. The catalogue gives every host the same codes, so they are
// found once; matrices are made for every locator at every sampled time.
struct TransformCodes {
    QvTypeCode locator, transform, translation, rotation, scale, shear;
    uint32_t rotationOrder; // the index of a rotation item's "order"
};

const TransformCodes& Codes() {
    static const TransformCodes codes = [] {
        TypeTree types;
        auto code = [&](const char* name) { return types.Find(name)->code; };
        return TransformCodes{code("locator"),
                              code("transform"),
                              code("translation"),
                              code("rotation"),
                              code("scale"),
                              code("shear"),
                              static_cast<uint32_t>(types.Find("rotation")->Channel("order"))};
    }();
    return codes;
}

bool Is(const Item& item, QvTypeCode code) {
    return item.Owner().Types().Derives(item.Type().code, code);
}

} // namespace

Matrix RotationMatrix(double x, double y, double z, int32_t order) {
    if (order < 0 || order > 5) order = 0;
    const double angles[3] = {x, y, z};
    // Each factor goes onto the identity, even the first: that keeps how a NaN angle spreads
    // through the matrix, which the files written from such a scene show.
    Matrix m = Identity();
    for (int i = 0; i < 3; ++i) {
        int axis = kOrderNames[order][i] - 'X';
        m = Multiply(m, AxisRotation(axis, angles[axis]));
    }
    return m;
}

int32_t RotationOrderFromName(const char* name) {
    for (int32_t i = 0; i < 6; ++i)
        if (std::strcmp(name, kOrderNames[i]) == 0) return i;
    return -1;
}

Matrix TransformItemMatrix(const Item& t, const ChannelRead& channels) {
    const TransformCodes& codes = Codes();
    if (!Is(t, codes.transform)) return Identity();
    const std::array<double, 3> v = ReadXyz(channels, t);
    if (Is(t, codes.translation)) return TranslationMatrix(v[0], v[1], v[2]);
    if (Is(t, codes.rotation)) {
        int32_t order = 0;
        ChannelValue scratch = ChannelValue::None(ChannelKind::Integer);
        channels.Resolve(t, codes.rotationOrder, scratch).AsInteger(&order);
        return RotationMatrix(v[0], v[1], v[2], order);
    }
    if (Is(t, codes.scale)) return ScaleMatrix(v[0], v[1], v[2]);
    if (Is(t, codes.shear)) return ShearMatrix(v[0], v[1], v[2]);
    return Identity();
}

namespace {

// One counter for every scene: a change in one scene only makes the others work their
// matrices out again once.
std::atomic<uint64_t> generation{1};
std::atomic<uint64_t> localMatrices{0};

bool SameTime(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0; // NaN and -0 times are reads of their own
}

bool Answers(const WorldMemo& memo, const ChannelRead& channels, uint64_t now) {
    return memo.generation == now && memo.scene == &channels.Owner() &&
           memo.mode == static_cast<int>(channels.ReadMode()) &&
           SameTime(memo.time, channels.Time()) && memo.chain == channels.Chain();
}

void Remember(WorldMemo& memo, const ChannelRead& channels, uint64_t now, const Matrix& world) {
    memo.generation = now;
    memo.scene = &channels.Owner();
    memo.mode = static_cast<int>(channels.ReadMode());
    memo.time = channels.Time();
    memo.chain = channels.Chain();
    memo.world = world;
}

// The locator parent that `locator`'s world matrix is taken on top of, or null at the top: a
// locator under a non-locator (which the host does not make) stands at the top, and so does one
// with an explicit world matrix.
const Item* LocatorParent(const Item& locator) {
    if (locator.WorldTrack()) return nullptr;
    const Item* parent = locator.Parent();
    return parent && Is(*parent, Codes().locator) ? parent : nullptr;
}

} // namespace

void MarkTransformsStale() {
    generation.fetch_add(1, std::memory_order_relaxed);
}

uint64_t TransformGeneration() {
    return generation.load(std::memory_order_relaxed);
}

uint64_t LocalMatrixCount() {
    return localMatrices.load(std::memory_order_relaxed);
}

Matrix LocalMatrix(const Item& locator, const ChannelRead& channels) {
    localMatrices.fetch_add(1, std::memory_order_relaxed);
    const std::vector<Item*>& stack = locator.Links(qvGraphXfrmCore);
    // Starting from the identity, not the first factor: 0 * NaN spreads a NaN channel value over
    // the matrix, and the files written from such a scene show that.
    Matrix m = Identity();
    for (auto it = stack.rbegin(); it != stack.rend(); ++it)
        if (Is(**it, Codes().transform)) m = Multiply(m, TransformItemMatrix(**it, channels));
    return m;
}

Matrix WorldMatrix(const Item& locator, const ChannelRead& channels) {
    const uint64_t now = TransformGeneration();
    // Up the chain to the first locator that knows its world matrix for this read, or the top...
    std::vector<const Item*> pending;
    const Matrix* above = nullptr;
    for (const Item* item = &locator; item; item = LocatorParent(*item)) {
        if (Answers(item->WorldMemoOf(), channels, now)) {
            above = &item->WorldMemoOf().world;
            break;
        }
        pending.push_back(item);
    }
    // ... then down again, each world matrix the local one times its parent's.
    Matrix world = above ? *above : Identity();
    for (auto it = pending.rbegin(); it != pending.rend(); ++it) {
        const Item& item = **it;
        if (const MatrixTrack* track = item.WorldTrack())
            world = track->Evaluate(channels.Time());
        else if (above || it != pending.rbegin())
            world = Multiply(LocalMatrix(item, channels), world);
        else
            world = LocalMatrix(item, channels);
        Remember(item.WorldMemoOf(), channels, now, world);
    }
    return world;
}

} // namespace scenehost
