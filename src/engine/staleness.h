#pragma once

/// Why a step makes an output, or that it does not.
enum class Staleness {
    Current,
    Always, ///< every build makes it
    Forced, ///< everything is made again
    Missing,
    LeftOver, ///< an interrupted build was to make it anew, and did not
    OlderThanProjectFile,
    OlderThanInput,
};
