#include "Transforms.h"

#include "ChannelRead.h"
#include "Item.h"
#include "Scene.h"

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

double Read(const ChannelRead& channels, const Item& item, const char* channel) {
    double v = 0.0;
    int32_t index = item.Type().Channel(channel);
    if (index >= 0) channels.Resolve(item, static_cast<uint32_t>(index)).AsDouble(&v);
    return v;
}

} // namespace

Matrix RotationMatrix(double x, double y, double z, int32_t order) {
    if (order < 0 || order > 5) order = 0;
    const double angles[3] = {x, y, z};
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
    if (t.IsA("translation"))
        return TranslationMatrix(Read(channels, t, qvChanPosX), Read(channels, t, qvChanPosY),
                                 Read(channels, t, qvChanPosZ));
    if (t.IsA("rotation")) {
        int32_t order = 0;
        channels.Resolve(t, static_cast<uint32_t>(t.Type().Channel("order"))).AsInteger(&order);
        return RotationMatrix(Read(channels, t, qvChanRotX), Read(channels, t, qvChanRotY),
                              Read(channels, t, qvChanRotZ), order);
    }
    if (t.IsA("scale"))
        return ScaleMatrix(Read(channels, t, qvChanSclX), Read(channels, t, qvChanSclY),
                           Read(channels, t, qvChanSclZ));
    if (t.IsA("shear"))
        return ShearMatrix(Read(channels, t, "shr.X"), Read(channels, t, "shr.Y"),
                           Read(channels, t, "shr.Z"));
    return Identity();
}

Matrix LocalMatrix(const Item& locator, const ChannelRead& channels) {
    const std::vector<Item*>& stack = locator.Links(qvGraphXfrmCore);
    Matrix m = Identity();
    for (auto it = stack.rbegin(); it != stack.rend(); ++it)
        if ((*it)->IsA("transform")) m = Multiply(m, TransformItemMatrix(**it, channels));
    return m;
}

Matrix WorldMatrix(const Item& locator, const ChannelRead& channels) {
    if (const Matrix* explicitWorld = locator.ExplicitWorld()) return *explicitWorld;
    Matrix world = LocalMatrix(locator, channels);
    const Item* parent = locator.Parent();
    // A locator under a non-locator (which the host does not make) stands at the top.
    if (parent && parent->IsA("locator")) world = Multiply(world, WorldMatrix(*parent, channels));
    return world;
}

} // namespace scenehost
