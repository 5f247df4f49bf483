// Runs when velk is built: writes the header with the engine's own script code as this build of the engine
// compiles it. Without that every run that meets a script would compile it again, which takes longer than all
// the rest of the start.
//
//     store-start-code HEADER

#include "platform/js/EngineIdentity.h"

#include <js/Initialization.h>
#include <jsapi.h>

#include <cstdio>
#include <fstream>
#include <vector>

namespace {

std::vector<std::uint8_t>& startCode()
{
    static std::vector<std::uint8_t> code;
    return code;
}

bool takeCode(JSContext*, JS::SelfHostedCache code)
{
    startCode().assign(code.begin(), code.end());
    return true;
}

bool compile()
{
    JS::SetProcessBuildIdOp(velk::js::appendEngineIdentity);
    JS::BuildIdCharVector identity;
    // An engine without an identity cannot tell its code from another's.
    auto const writer = velk::js::appendEngineIdentity(&identity) ? takeCode : nullptr;
    if (!JS_Init())
        return false;
    auto* const context = JS_NewContext(64U << 20);
    bool const isCompiled = context && JS::InitSelfHostedCode(context, nullptr, writer);
    if (context)
        JS_DestroyContext(context);
    JS_ShutDown();
    return isCompiled;
}

bool writeHeader(char const* path)
{
    std::ofstream header(path);
    header << "// Made by store-start-code when velk was built.\n#pragma once\n\n#include <cstdint>\n\n"
              "namespace velk::js {\n\n// The engine reads it in place.\n"
              "alignas(16) constexpr std::uint8_t kStartCode[] = {";
    for (std::size_t index = 0; index < startCode().size(); ++index)
        header << (index % 32 == 0 ? "\n" : "") << int {startCode()[index]} << ',';
    // An array is never empty.
    header << "\n0};\n\nconstexpr unsigned kStartCodeSize = " << startCode().size()
           << ";\n\n} // namespace velk::js\n";
    return header.flush().good();
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 2 && compile() && writeHeader(arguments[1]))
        return 0;
    std::fputs("store-start-code: cannot compile the engine's code\n", stderr);
    return 1;
}
