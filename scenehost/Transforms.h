// Matrices and the composition of a locator's transform.
//
// Matrices are 16 doubles, rows of four, translation in elements 12 to 14; a point is a row
// vector multiplied on the left, so `a * b` applies a first. A locator's local matrix is the
// product of its transform items (the "xfrmCore" links) applied from the last link to the first,
// so the usual stack translation, rotation, scale gives scale * rotation * translation. Its world
// matrix is local * parentWorld, up the chain of locator parents, unless the item carries an
// explicit world matrix or a track of them, which stands for constraints and other evaluation the
// scene host does not model; a track gives its matrix at the reader's time.
//
// A plug-in asks for the world matrix of every locator, and of its parent, at every time it
// samples, so each locator keeps the last world matrix worked out for it with the read that it
// answers (WorldMemo). Any change to the scene that could move a locator (a channel value or
// key, a parent, a stack link, a channel link, a world-matrix track) marks every memo stale
// through one counter, so a memo never outlives what it was made from; within one read, the
// world matrices of a hierarchy cost one local matrix per locator.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace scenehost {

class Item;
class ChannelRead;

using Matrix = std::array<double, 16>;

Matrix Identity();
Matrix Multiply(const Matrix& a, const Matrix& b); // a applied first, then b
Matrix TranslationMatrix(double x, double y, double z);
Matrix ScaleMatrix(double x, double y, double z);
// x' = x + xy * y + xz * z, y' = y + yz * z: the three shear channels in that order.
Matrix ShearMatrix(double xy, double xz, double yz);
// Angles in radians; `order` 0..5 names XYZ, XZY, YXZ, YZX, ZXY, ZYX, the axes in the order
// they are applied. Out-of-range orders count as XYZ.
Matrix RotationMatrix(double x, double y, double z, int32_t order);

// Rotation orders as the scene file names them; -1 for an unknown name.
int32_t RotationOrderFromName(const char* name);

// The matrix of one transform item as `channels` reads it (identity for a plain "transform").
Matrix TransformItemMatrix(const Item& transform, const ChannelRead& channels);
// The local and world matrices of a locator item as `channels` reads it. WorldMatrix walks up
// the parent chain only as far as the first locator whose memo answers this read, without
// recursion, so a chain of any depth is fine.
Matrix LocalMatrix(const Item& locator, const ChannelRead& channels);
Matrix WorldMatrix(const Item& locator, const ChannelRead& channels);

// The last world matrix of a locator and the read it was made for: the reader's scene, mode,
// chain of actions and time, and the scene generation then.
struct WorldMemo {
    uint64_t generation = 0; // 0: nothing held yet
    const void* scene = nullptr;
    int mode = 0;
    double time = 0;
    std::vector<uint32_t> chain;
    Matrix world{};
};

// Marks every world matrix memo stale; the builder calls this on every change that could move a
// locator. TransformGeneration never answers 0.
void MarkTransformsStale();
uint64_t TransformGeneration();
// How many local matrices have been composed in this process: the work of world matrices.
uint64_t LocalMatrixCount();

} // namespace scenehost
