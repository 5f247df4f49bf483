#include "base/StandardOutput.h"
#include "cli/RunDriver.h"

int main(int count, char** arguments)
{
    velk::occupyStandardStreams();
    return velk::run({arguments, static_cast<std::size_t>(count)});
}
