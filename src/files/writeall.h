#pragma once

#include <QByteArrayView>

/// Writes all of @p data to a file: QFile reports a write that was cut short (a full disk) without
/// its reason.
/// @return false with errno set; then a part may be written
bool writeAll(int descriptor, QByteArrayView data);
