#include "profile/TagPass.h"

namespace velk {

void TagPass::examine(FourCC signature, std::uint32_t variant, Check const& check)
{
    auto const element = m_context.profile.element(signature);
    auto const key = std::pair(std::pair<void const*, std::size_t>(element.data(), element.size()), variant);
    auto const [found, isNew] = m_outcomes.try_emplace(key);
    if (isNew)
        found->second = outcomeOf(check(element));
    apply(signature, found->second);
}

TagPass::Outcome TagPass::outcomeOf(TagFindings findings)
{
    Outcome outcome {std::move(findings.problems), nullptr, findings.isFix};
    if (findings.replacement)
        outcome.replacement = std::make_shared<Bytes const>(*std::move(findings.replacement));
    return outcome;
}

void TagPass::apply(FourCC signature, Outcome const& outcome)
{
    for (auto const& [message, readsFixed] : outcome.problems)
        reportProblem(m_context.mode, signature, 0, message, readsFixed);
    m_context.problemCount += !outcome.problems.empty();
    if (!m_context.repairs())
        return;
    if (outcome.replacement)
        m_context.profile.setTag(signature, outcome.replacement);
    m_context.fixedCount += outcome.isFix;
}

} // namespace velk
