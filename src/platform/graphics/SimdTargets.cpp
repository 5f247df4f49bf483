// The run-time dispatch of Highway asks two questions, which its shared library answers. That library also
// calibrates a timer whenever it is loaded, which took longer than everything else at the start of velk, so
// it is not linked and the questions are answered here.

#include <hwy/targets.h>

namespace hwy {

namespace {

#if HWY_ARCH_X86

// The instruction sets that Highway's targets are compiled with, each together with those before it.
bool hasSsse3()
{
    return __builtin_cpu_supports("ssse3");
}

bool hasSse4()
{
    return hasSsse3() && __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2")
        && __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("aes");
}

bool hasAvx2()
{
    return hasSse4() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")
        && __builtin_cpu_supports("f16c") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2")
        && __builtin_cpu_supports("lzcnt");
}

bool hasAvx3()
{
    return hasAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
        && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
}

bool hasAvx3Dl()
{
    return hasAvx3() && __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx512vbmi")
        && __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512vpopcntdq")
        && __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("vpclmulqdq")
        && __builtin_cpu_supports("vaes") && __builtin_cpu_supports("gfni");
}

constexpr struct {
    std::int64_t target;
    bool (*isSupported)();
} kTargets[] = {
    {HWY_SSSE3, hasSsse3},
    {HWY_SSE4, hasSse4},
    {HWY_AVX2, hasAvx2},
    {HWY_AVX3, hasAvx3},
    {HWY_AVX3_DL, hasAvx3Dl},
};

#endif

std::int64_t detectTargets()
{
    std::int64_t targets = HWY_ENABLED_BASELINE;
#if HWY_ARCH_X86
    for (auto const& [target, isSupported] : kTargets) {
        if (isSupported())
            targets |= target;
    }
#endif
    return targets;
}

} // namespace

std::int64_t SupportedTargets()
{
    static std::int64_t const targets = detectTargets();
    return targets;
}

ChosenTarget& GetChosenTarget()
{
    static ChosenTarget chosen;
    return chosen;
}

} // namespace hwy
