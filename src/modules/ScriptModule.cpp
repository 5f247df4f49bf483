#include "platform/modules/ScriptInterface.h"

extern "C" __attribute__((visibility("default"))) void velkRunScript(
    std::string const&, std::vector<std::string> const&)
{
}
