// 4x4 matrices of the host: 16 doubles, rows of four, translation in the first three elements of
// the last row. A point is a row vector multiplied on the left, so a world matrix is the local
// matrix times the parent's world matrix.
#pragma once

#include <array>

using Matrix4 = std::array<double, 16>;

// Inverts in place by cofactors. A matrix whose determinant is exactly 0.0 is left as it is.
void Invert(Matrix4& m);

// a = a * b.
void Multiply(Matrix4& a, const Matrix4& b);
