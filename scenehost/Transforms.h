// Matrices and the composition of a locator's transform.
//
// Matrices are 16 doubles, rows of four, translation in elements 12 to 14; a point is a row
// vector multiplied on the left, so `a * b` applies a first. A locator's local matrix is the
// product of its transform items (the "xfrmCore" links) applied from the last link to the first,
// so the usual stack translation, rotation, scale gives scale * rotation * translation. Its world
// matrix is local * parentWorld, up the chain of locator parents, unless the item carries an
// explicit world matrix or a track of them, which stands for constraints and other evaluation the
// scene host does not model; a track gives its matrix at the reader's time.
#pragma once

#include <array>
#include <cstdint>

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
// The local and world matrices of a locator item as `channels` reads it.
Matrix LocalMatrix(const Item& locator, const ChannelRead& channels);
Matrix WorldMatrix(const Item& locator, const ChannelRead& channels);

} // namespace scenehost
