extern "C" char const* __lsan_default_suppressions();

/// The leak checker does not see that patterns of fontconfig are in use: they hold offsets, not pointers.
/// Video coders behind HEIC and AVIF keep a few blocks for themselves.
extern "C" char const* __lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libx265\nleak:libdav1d\nleak:libaom\n";
}
