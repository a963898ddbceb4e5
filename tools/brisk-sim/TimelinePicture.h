#pragma once

#include <string>

#include "tools/brisk-sim/TimelineModel.h"
#include "tools/brisk-sim/TimelineRecorder.h"

// Draws a recorded replay as one self-contained SVG picture (no script, no
// external resource), for `brisk-sim --timeline`: a column per scenario line with
// the line under it and the entry call's result above it, and over the columns
// the frequency nodes against their hardware maximum, the thermal values, the
// scheduling groups' levels, scenes, on/off actions and boosts as bars, and other
// platform actions as marks. Each node that changed is one <g class="series">
// with its name in data-node.
class TimelinePicture {
public:
    // An SVG document; `title` names the scenario.
    static std::string svg(const Timeline& timeline, const std::string& title);
    // An HTML page holding the same picture inline.
    static std::string html(const Timeline& timeline, const std::string& title);

    // `text` for an XML text or attribute value: markup characters escaped,
    // control characters and bytes that are no UTF-8 shown as '?'.
    static std::string xmlText(const std::string& text);

private:
    // `title`, and where the drawing stops when the record was full.
    static std::string shownTitle(const TimelineModel& model, const std::string& title);

    explicit TimelinePicture(const TimelineModel& model) : mModel(model) {}

    std::string draw(const std::string& title);
    void header(const std::string& title);
    void columns(double top, double bottom);
    double panel(const TimelineModel::Panel& panel, double top);
    void series(const TimelineModel::Series& series, double top, double height, double scale);
    double levels(double top);
    double lanes(double top);
    double marks(double top);
    double results(double top);
    void lines(double top);
    void laneLabel(const std::string& label, double top, double height);

    double x(double modelX) const;

    const TimelineModel& mModel;
    std::string mOut;
    std::string mPanelTitle;  // of the panel being drawn
};
