#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/brisk-sim/TimelineRecorder.h"

// A recorded replay laid out for its picture: a column per scenario line (wider
// for a sleep, in which calls sit at their real time), and what the device was
// set to over those columns: frequency and thermal nodes as values in force,
// scheduling-group levels, scenes, on/off actions and boosts as bars, other
// platform actions as marks.
class TimelineModel {
public:
    struct Column {
        double x = 0;
        double width = 0;
        int lineNumber = 0;
        std::string line;
        bool hasResult = false;
        int result = 0;
        bool failed = false;  // the entry call answered an error
        bool sleep = false;
    };
    // A node's value in force from `x` on.
    struct Point {
        double x;
        long long value;
    };
    struct Series {
        std::string node;  // "big_cpu_max", "top_app"
        bool isFloor = false;
        std::vector<Point> points;
    };
    // Nodes drawn on one value scale, with a reference line (0: none).
    struct Panel {
        std::string title;
        long long reference = 0;
        std::vector<Series> series;
    };
    struct Bar {
        double begin;
        double end;
        bool open;  // still on when the scenario ended
    };
    struct Lane {
        std::string label;
        std::vector<Bar> bars;
    };
    struct Mark {
        double x;
        std::string label;
        bool failed;
    };

    explicit TimelineModel(const Timeline& timeline);

    const std::vector<Column>& columns() const { return mColumns; }
    double width() const { return mWidth; }
    const std::vector<Panel>& panels() const { return mPanels; }
    const std::vector<Series>& levels() const { return mLevels; }
    const std::vector<Lane>& lanes() const { return mLanes; }
    const std::vector<Mark>& marks() const { return mMarks; }
    // Every node that changed: frequency and thermal series and group levels.
    size_t seriesCount() const;
    // True when the scenario went on past what is drawn.
    bool truncated() const { return mTruncated; }

    static constexpr double kColumnWidth = 64;
    // The columns span at most this width: SVG renderers refuse pictures much
    // wider, and later lines are not drawn.
    static constexpr double kMaxWidth = 30000;

private:
    void layColumns(const Timeline& timeline);
    std::vector<double> callPositions(const Timeline& timeline) const;
    void readCalls(const Timeline& timeline, const std::vector<double>& xs);
    void readAction(const SimCall& call, double x);
    // On/off actions are on from the event that begins them to the one that ends
    // it, whether or not the platform hears of them.
    void readOnOffEvents(const Timeline& timeline);
    // Begins (on) or ends the bar of lane `key`, labelled `label` when new; lanes
    // are drawn in the order of their keys.
    void switchBar(const std::string& key, const std::string& label, bool on, double x);
    void buildPanels(const Timeline& timeline);

    std::vector<Column> mColumns;
    double mWidth = 0;
    bool mTruncated = false;
    std::map<int, std::vector<Point>> mValues;  // setConfig tag -> values in force
    std::vector<Panel> mPanels;
    std::vector<Series> mLevels;
    std::map<std::string, Lane> mLaneByKey;
    std::vector<Lane> mLanes;
    std::vector<Mark> mMarks;
};
