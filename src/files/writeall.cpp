#include "files/writeall.h"

#include <unistd.h>

bool writeAll(int descriptor, QByteArrayView data)
{
    while (!data.isEmpty()) {
        const ssize_t count = ::write(descriptor, data.data(), static_cast<size_t>(data.size()));
        if (count < 0)
            return false;
        data = data.sliced(count);
    }
    return true;
}
