#include "support/TestSimd.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace velk::test {

void onEveryTarget(std::function<void()> const& body)
{
    for (auto rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1) {
        auto const target = rest & -rest;
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::GetChosenTarget().Update(target);
        body();
    }
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

} // namespace velk::test
