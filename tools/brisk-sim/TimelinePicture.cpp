#include "tools/brisk-sim/TimelinePicture.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "config/Vocabulary.h"
#include "tools/brisk-sim/Utf8.h"

namespace {
// Geometry, in SVG units (pixels).
constexpr double kLeft = 210;   // lane labels
constexpr double kRight = 190;  // room for the last slanted scenario line
constexpr double kTop = 78;     // title and legend
constexpr double kFreqHeight = 100;
constexpr double kThermalHeight = 60;
constexpr double kLaneHeight = 20;
constexpr double kGap = 16;
// Scenario lines are slanted by kSlant degrees; a character takes about
// kCharWidth, so a line of n characters reaches kSlantDrop * n below its start.
constexpr int kSlant = 40;
constexpr double kSlantDrop = 6.3 * 0.643;  // kCharWidth × sin(kSlant)
constexpr double kLabelSpacing = 46;        // the least room between two value labels
constexpr size_t kLongestLine = 44;

const char kCeiling[] = "#d0433a";
const char kFloor[] = "#2f6fdb";
const char kReference[] = "#7a7a7a";
const char kScene[] = "#8a5cc7";
const char kOnOff[] = "#23946a";
const char kBoost[] = "#e0861b";
const char kFailed[] = "#c62828";
const char kInk[] = "#222";
const char kMuted[] = "#666";

const char kStyle[] =
    "text{font-family:DejaVu Sans,Verdana,Arial,sans-serif;font-size:11px;fill:#222}"
    ".title{font-size:16px;font-weight:bold}.small{font-size:9.5px;fill:#555}"
    ".label{font-size:11px}.fail{fill:#c62828;font-weight:bold}";

std::string num(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string quote(const std::string& text) {
    return "\"" + TimelinePicture::xmlText(text) + "\"";
}

std::string text(double x, double y, const std::string& content, const std::string& extra = "") {
    return "<text x=\"" + num(x) + "\" y=\"" + num(y) + "\"" + extra + ">" +
           TimelinePicture::xmlText(content) + "</text>\n";
}

std::string rect(double x, double y, double w, double h, const std::string& fill,
                 const std::string& extra = "") {
    return "<rect x=\"" + num(x) + "\" y=\"" + num(y) + "\" width=\"" + num(std::max(w, 0.0)) +
           "\" height=\"" + num(h) + "\" fill=\"" + fill + "\"" + extra + "/>\n";
}

std::string line(double x1, double y1, double x2, double y2, const std::string& stroke,
                 const std::string& extra = "") {
    return "<line x1=\"" + num(x1) + "\" y1=\"" + num(y1) + "\" x2=\"" + num(x2) + "\" y2=\"" +
           num(y2) + "\" stroke=\"" + stroke + "\"" + extra + "/>\n";
}

// A level's colours (fill, text): the ladder from cool (lowest) to warm
// (highest); grey off it.
std::pair<const char*, const char*> levelColours(long long level) {
    static const char* const kFills[] = {"#2f62ad", "#6f9bd6", "#c3cfdd", "#f2c46d",
                                         "#ec9338", "#dd5f2a", "#b8321c"};
    static_assert(sizeof(kFills) / sizeof(kFills[0]) == Vocabulary::kSchedLadderSize,
                  "one colour per ladder step");
    for (int i = 0; i < Vocabulary::kSchedLadderSize; ++i) {
        if (Vocabulary::kSchedLadder[i] == level) {
            const bool dark = i == 0 || i >= Vocabulary::kSchedLadderSize - 2;
            return {kFills[i], dark ? "#ffffff" : "#111111"};
        }
    }
    return {"#d9d9d9", "#111111"};
}

const char* laneColour(const std::string& label) {
    if (label.compare(0, 5, "scene") == 0) {
        return kScene;
    }
    return label.compare(0, 6, "on/off") == 0 ? kOnOff : kBoost;
}
}  // namespace

std::string TimelinePicture::xmlText(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        const size_t length = Utf8::sequenceLength(text, i);
        if (length > 1) {
            out += text.substr(i, length);
            i += length;
            continue;
        }
        ++i;
        if (length == 0 || (static_cast<unsigned char>(c) < 0x20) || c == 0x7f) {
            out += '?';
        } else if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"') {
            out += "&quot;";
        } else {
            out += c;
        }
    }
    return out;
}

std::string TimelinePicture::shownTitle(const TimelineModel& model, const std::string& title) {
    if (!model.truncated()) {
        return title;
    }
    const int last = model.columns().empty() ? 0 : model.columns().back().lineNumber;
    return title + " (up to line " + std::to_string(last) + ": the rest is not drawn)";
}

std::string TimelinePicture::svg(const Timeline& timeline, const std::string& title) {
    TimelineModel model(timeline);
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
           TimelinePicture(model).draw(shownTitle(model, title));
}

std::string TimelinePicture::html(const Timeline& timeline, const std::string& title) {
    TimelineModel model(timeline);
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
           xmlText("brisk-sim timeline: " + title) +
           "</title>\n<style>body{margin:16px;background:#fff}</style>\n</head>\n<body>\n" +
           TimelinePicture(model).draw(shownTitle(model, title)) + "</body>\n</html>\n";
}

double TimelinePicture::x(double modelX) const {
    return kLeft + modelX;
}

std::string TimelinePicture::draw(const std::string& title) {
    // The body is drawn first, so that the height is known for the svg element.
    double y = kTop;
    for (const TimelineModel::Panel& each : mModel.panels()) {
        y = panel(each, y) + kGap;
    }
    y = levels(y);
    y = lanes(y);
    y = marks(y);
    const double body = y;
    y = results(y);
    lines(y);
    std::string drawing;
    drawing.swap(mOut);
    columns(kTop - 6, body);
    header(title);
    const double width = kLeft + mModel.width() + kRight;
    size_t longest = 0;
    for (const TimelineModel::Column& column : mModel.columns()) {
        longest = std::max(longest, std::min(kLongestLine, column.line.size()) + 4);
    }
    const double height = y + 24 + kSlantDrop * static_cast<double>(longest);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + num(width) + "\" height=\"" +
           num(height) + "\" viewBox=\"0 0 " + num(width) + " " + num(height) + "\">\n<style>" +
           kStyle + "</style>\n" + rect(0, 0, width, height, "#ffffff") + mOut + drawing +
           "</svg>\n";
}

void TimelinePicture::header(const std::string& title) {
    mOut += text(16, 26, "brisk-sim timeline: " + title, " class=\"title\"");
    struct Key {
        const char* colour;
        const char* what;
        bool dashed;
    };
    const Key keys[] = {
        {kCeiling, "ceiling (…_max)", false},   {kFloor, "floor (…_min)", false},
        {kReference, "hardware maximum", true}, {kScene, "scene applied", false},
        {kOnOff, "on/off action on", false},    {kBoost, "thread boosted", false},
    };
    double at = 16;
    for (const Key& key : keys) {
        mOut += key.dashed ? line(at, 48, at + 22, 48, key.colour, " stroke-dasharray=\"5 3\"")
                           : rect(at, 43, 22, 10, key.colour);
        mOut += text(at + 28, 52, key.what);
        at += 150;
    }
    mOut += text(16, 68,
                 "One column per scenario line (the line below it, the call's result above it); "
                 "a sleep's column spans its real time. Levels: blue low, red high.",
                 " class=\"small\"");
}

void TimelinePicture::columns(double top, double bottom) {
    bool shaded = false;
    for (const TimelineModel::Column& column : mModel.columns()) {
        if (shaded || column.sleep) {
            mOut += rect(x(column.x), top, column.width, bottom - top,
                         column.sleep ? "#fff6e0" : "#f4f5f8");
        }
        mOut += line(x(column.x), top, x(column.x), bottom, "#e2e4ea");
        shaded = !shaded;
    }
    mOut += line(x(mModel.width()), top, x(mModel.width()), bottom, "#e2e4ea");
}

void TimelinePicture::laneLabel(const std::string& label, double top, double height) {
    mOut += text(kLeft - 8, top + height / 2 + 4, label, " text-anchor=\"end\" class=\"label\"");
}

double TimelinePicture::panel(const TimelineModel::Panel& panel, double top) {
    const bool isFreq = panel.reference > 0;
    const double height = isFreq ? kFreqHeight : kThermalHeight;
    long long highest = panel.reference;
    for (const TimelineModel::Series& each : panel.series) {
        for (const TimelineModel::Point& point : each.points) {
            highest = std::max(highest, point.value);
        }
    }
    const double scale = highest > 0 ? height / (static_cast<double>(highest) * 1.12) : 0;
    mPanelTitle = panel.title;
    mOut += text(kLeft - 8, top + 12, panel.title,
                 " text-anchor=\"end\" class=\"label\" font-weight=\"bold\"");
    mOut += line(x(0), top + height, x(mModel.width()), top + height, "#b8bcc6");
    if (isFreq) {
        const double y = top + height - static_cast<double>(panel.reference) * scale;
        mOut += line(x(0), y, x(mModel.width()), y, kReference, " stroke-dasharray=\"5 3\"");
        mOut += text(x(mModel.width()) + 4, y + 4,
                     "hardware max " + std::to_string(panel.reference), " class=\"small\"");
    }
    for (const TimelineModel::Series& each : panel.series) {
        series(each, top, height, scale);
    }
    return top + height;
}

void TimelinePicture::series(const TimelineModel::Series& series, double top, double height,
                             double scale) {
    const char* colour = series.isFloor ? kFloor : kCeiling;
    mOut += "<g class=\"series\" data-node=" + quote(series.node) + ">\n";
    const double end = mModel.width();
    double lastLabel = -kLabelSpacing;
    for (size_t i = 0; i < series.points.size(); ++i) {
        const TimelineModel::Point& point = series.points[i];
        const double until = i + 1 < series.points.size() ? series.points[i + 1].x : end;
        // 0 and -1 are no limit: nothing is drawn while they are in force.
        if (point.value <= 0) {
            continue;
        }
        const double y = top + height - static_cast<double>(point.value) * scale;
        mOut += line(x(point.x), y, x(until), y, colour, " stroke-width=\"2.5\"");
        const bool changed = i == 0 || series.points[i - 1].value != point.value;
        if (changed && point.x - lastLabel >= kLabelSpacing) {
            const double labelY = series.isFloor ? y + 12 : y - 5;
            mOut += text(x(point.x) + 3, labelY, std::to_string(point.value),
                         " class=\"small\" style=\"fill:" + std::string(colour) + "\"");
            lastLabel = point.x;
        }
    }
    mOut += "<title>" + xmlText(series.node) + "</title>\n";
    // A panel of one node is titled by it already.
    const bool titled = series.node == mPanelTitle;
    mOut += titled
                ? std::string()
                : text(kLeft - 8, top + 32 + (series.isFloor ? 16 : 0), series.node,
                       " text-anchor=\"end\" class=\"label\" style=\"fill:" + std::string(colour) +
                           "\"");
    mOut += "</g>\n";
}

double TimelinePicture::levels(double top) {
    if (mModel.levels().empty()) {
        return top;
    }
    mOut += text(16, top + 12, "scheduling group levels", " class=\"label\" font-weight=\"bold\"");
    double y = top + 18;
    for (const TimelineModel::Series& group : mModel.levels()) {
        mOut += "<g class=\"series\" data-node=" + quote(group.node) + ">\n";
        laneLabel(group.node, y, kLaneHeight);
        for (size_t i = 0; i < group.points.size(); ++i) {
            const TimelineModel::Point& point = group.points[i];
            const double until =
                i + 1 < group.points.size() ? group.points[i + 1].x : mModel.width();
            const auto colours = levelColours(point.value);
            mOut += rect(x(point.x), y + 2, until - point.x, kLaneHeight - 4, colours.first,
                         " stroke=\"#ffffff\"");
            if (until - point.x >= 22) {
                mOut += text(x(point.x) + 4, y + kLaneHeight / 2 + 4, std::to_string(point.value),
                             " class=\"small\" style=\"fill:" + std::string(colours.second) + "\"");
            }
        }
        mOut += "</g>\n";
        y += kLaneHeight;
    }
    return y + kGap;
}

double TimelinePicture::lanes(double top) {
    double y = top;
    for (const TimelineModel::Lane& lane : mModel.lanes()) {
        laneLabel(lane.label, y, kLaneHeight);
        const char* colour = laneColour(lane.label);
        for (const TimelineModel::Bar& bar : lane.bars) {
            const double width = std::max(3.0, bar.end - bar.begin);
            mOut += rect(x(bar.begin), y + 3, width, kLaneHeight - 6, colour, " rx=\"3\"");
            if (bar.open) {
                const double tip = x(bar.begin) + width;
                mOut += "<path d=\"M" + num(tip) + " " + num(y + 2) + " l8 " +
                        num(kLaneHeight / 2 - 2) + " l-8 " + num(kLaneHeight / 2 - 2) +
                        "z\" fill=\"" + colour + "\"/>\n";
            }
        }
        y += kLaneHeight;
    }
    return mModel.lanes().empty() ? top : y + kGap;
}

double TimelinePicture::marks(double top) {
    if (mModel.marks().empty()) {
        return top;
    }
    laneLabel("other platform actions", top, kLaneHeight);
    double lastLabel = -kLabelSpacing * 2;
    for (const TimelineModel::Mark& mark : mModel.marks()) {
        const char* colour = mark.failed ? kFailed : kInk;
        mOut += "<path d=\"M" + num(x(mark.x)) + " " + num(top + 4) +
                " l5 6 l-5 6 l-5 -6z\" fill=\"" + colour + "\"><title>" + xmlText(mark.label) +
                "</title></path>\n";
        if (mark.x - lastLabel >= kLabelSpacing * 2) {
            mOut += text(x(mark.x) + 7, top + 14, mark.label,
                         " class=\"small\" style=\"fill:" + std::string(colour) + "\"");
            lastLabel = mark.x;
        }
    }
    return top + kLaneHeight + kGap;
}

double TimelinePicture::results(double top) {
    laneLabel("entry call result", top, kLaneHeight);
    for (const TimelineModel::Column& column : mModel.columns()) {
        if (column.hasResult) {
            mOut += text(
                x(column.x + column.width / 2), top + 14, "= " + std::to_string(column.result),
                std::string(" text-anchor=\"middle\"") + (column.failed ? " class=\"fail\"" : ""));
        }
    }
    return top + kLaneHeight;
}

void TimelinePicture::lines(double top) {
    for (const TimelineModel::Column& column : mModel.columns()) {
        std::string shown = column.line;
        if (shown.size() > kLongestLine) {
            shown = shown.substr(0, kLongestLine - 1) + "~";
        }
        const double cx = x(column.x + column.width / 2);
        const double cy = top + 10;
        mOut += text(cx, cy, std::to_string(column.lineNumber) + "  " + shown,
                     " transform=\"rotate(" + std::to_string(kSlant) + " " + num(cx) + " " +
                         num(cy) + ")\"");
        mOut += line(cx, top, cx, top + 4, kMuted);
    }
}
