#pragma once

#include <QString>

namespace Tools {

/// The default SDK, for projects that name none: "src/sdk" in the development tree that the
/// environment variable ZELTADIR names. Remembered for as long as the directory exists.
/// @return empty when there is none
QString zeltaSdkDir();

/// The directory that holds versioned SDKs ("sdk-2.1"): the setting "Preferences/ZeltaSDK", else
/// the environment variable ZELTASDK, where they name an existing directory; else the folder
/// "ZeltaSDK" in the home directory, which need not exist. Remembered for as long as it exists.
QString zeltaSDKRepositoryDir();

} // namespace Tools
