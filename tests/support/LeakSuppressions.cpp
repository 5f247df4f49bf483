extern "C" char const* __lsan_default_suppressions();

/// The leak checker does not see that patterns of fontconfig are in use: they hold offsets, not pointers.
extern "C" char const* __lsan_default_suppressions()
{
    return "leak:libfontconfig\n";
}
