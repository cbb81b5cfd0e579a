#pragma once

#include "companion/sizetree.h"

/// Each drawing begins with this, and hardly anything else does.
inline constexpr QByteArrayView treemapBeginning("<!-- Drawn by ztproject size -->\n");

/// @return an SVG picture in which each file is a rectangle as large as its size
/// @param title  what stands above it
QByteArray treemapOf(const SizeTree &tree, const QString &title);
