#pragma once

#include "base/Bytes.h"
#include "support/TestFiles.h"
#include "support/TestProfiles.h"

#include <string>
#include <vector>

namespace velk::test {

/// A line of a report: its text without the three spaces, and what a repair says about it.
struct ReportLine {
    std::string text;
    bool readsFixed;
};

constexpr bool kFixed = true;
constexpr bool kUnfixed = false;

/// A profile in a file, to be verified and repaired there.
class CheckedProfile {
public:
    explicit CheckedProfile(Bytes const& bytes) { write(bytes); }

    std::string path() const { return m_directory / "profile.icc"; }
    void write(Bytes const& bytes) const { writeBytes(path(), bytes); }
    Bytes bytes() const { return readBytes(path()); }
    /// What these print.
    std::string verify() const;
    std::string repair() const;

private:
    TemporaryDirectory m_directory;
};

/// Expects these lines of both modes, that verifying changes nothing, and that repairs come to an end: the
/// third and later ones say nothing of fixes and do not touch the file, unless `isNeverSaved`. Returns the
/// file after the first repair.
Bytes expectReport(Bytes const& profile, std::vector<ReportLine> const& lines, bool isNeverSaved = false);

/// `expectReport` for problems of one tag, whose saved element is returned.
Bytes expectTagReport(
    ProfileBuilder const& builder, std::string const& tag, std::vector<ReportLine> const& lines);

/// The builder's profile with the right profile ID.
Bytes withDigest(ProfileBuilder const& builder);

/// Profiles that have no problems.
ProfileBuilder soundProfile();
/// Between `space` and Lab, without tables.
ProfileBuilder soundTableProfile(char const (&space)[5]);

/// The element of a tag; empty when there is none.
Bytes elementOf(Bytes const& profile, char const (&signature)[5]);

} // namespace velk::test
