#pragma once

#include "profile/ProfileCheckContext.h"

#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace velk {

struct TagProblem {
    char const* message;
    /// What a repair says about it.
    bool readsFixed;
};

/// What is wrong with one element, the same in both modes.
struct TagFindings {
    /// In the order of the report.
    std::vector<TagProblem> problems;
    /// What a repair stores in the element's place.
    std::optional<Bytes> replacement;
    /// Whether that counts as a fix of the tag.
    bool isFix = false;
};

/// One walk over the tags of the working profile. Tags that share an element share its findings and its
/// replacement, so that neither time nor memory grows with the number of tags that point at the same bytes.
class TagPass {
public:
    using Check = std::function<TagFindings(ByteSpan element)>;

    explicit TagPass(ProfileCheckContext& context)
        : m_context(context)
    {
    }

    /// Checks the tag's element, reports, counts, and stores the replacement in repair mode. Each tag is
    /// examined once in a pass. `variant` tells apart the checks that the element is to pass: tags of one
    /// variant have the same findings.
    void examine(FourCC signature, std::uint32_t variant, Check const& check);

private:
    struct Outcome {
        std::vector<TagProblem> problems;
        SharedBytes replacement;
        bool isFix = false;
    };

    static Outcome outcomeOf(TagFindings findings);
    void apply(FourCC signature, Outcome const& outcome);

    ProfileCheckContext& m_context;
    /// By the element's place in memory. No element is examined that was made during the pass, so two with
    /// the same place are the same.
    std::map<std::pair<std::pair<void const*, std::size_t>, std::uint32_t>, Outcome> m_outcomes;
};

} // namespace velk
