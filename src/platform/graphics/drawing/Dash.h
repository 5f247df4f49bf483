#pragma once

#include "platform/graphics/drawing/Pen.h"

namespace velk::graphics {

/// Cuts lines into dashes.
class Dasher {
public:
    /// Nothing when the style draws unbroken lines. `visible` is where anything drawn along a line can be
    /// seen.
    static std::optional<Dasher> create(StrokeStyle const& style, std::optional<Box> visible);

    /// A line as `Pen::draw` takes it.
    void draw(Polyline const& line, Pen& pen);

private:
    /// An entry of the pattern, and how much of it is still to come.
    struct Place {
        std::size_t entry = 0;
        double rest = 0;

        bool isOn() const { return entry % 2 == 0; }
    };
    struct Dash {
        std::vector<Point> points;
        std::vector<std::uint8_t> isSmooth;

        void clear();
        void add(Point point, std::uint8_t smooth);
    };
    /// A straight part of the line.
    struct Stretch {
        Point from, to;
        double length = 0; // user space

        Point at(double distance) const;
    };

    Dasher(std::vector<double> lengths, double phase, std::optional<Box> visible);
    std::vector<double> patternFor(Polyline const& line, Pen const& pen) const;
    Place placeAt(double distance) const;
    void walk(Stretch const& stretch, double from, double to, Pen& pen);
    void skip(Stretch const& stretch, double from, double to, Pen& pen);
    void nextEntry(Stretch const& stretch, double at, Pen& pen);
    void finishDash(Pen& pen);
    void finishLine(Pen& pen);

    std::vector<double> m_lengths; // as given
    double m_phase;
    std::optional<Box> m_visible;
    std::vector<double> m_pattern; // of the present line
    double m_period = 0;
    Place m_place;
    Dash m_dash;
    /// Of a closed line that begins with a dash: it may go on at the end.
    Dash m_firstDash;
    bool m_isFirst = false; // the present dash is that one
};

} // namespace velk::graphics
