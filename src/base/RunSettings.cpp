#include "base/RunSettings.h"

namespace velk {

RunSettings& runSettings()
{
    static RunSettings settings;
    return settings;
}

} // namespace velk
