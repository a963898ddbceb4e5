#pragma once

#include <string>

// Command ids of the configuration that the entry-point benchmarks use.
namespace benchcfg {
constexpr int kTimedEvent = 100;     // duration 50, one platform item: reaches doAction
constexpr int kSchedEventA = 200;    // duration 0: top-app group at 10
constexpr int kSchedEventB = 201;    // duration 0: top-app group at 20
constexpr int kSceneVideo = 4118;    // ordinary scene, priority 100
constexpr int kSceneGovBase = 4119;  // the governor base scene, priority 200
constexpr int kSceneLight = 4120;    // ordinary scene, priority 20
constexpr int kSceneGovGame = 4230;  // governor scene, priority 150
constexpr int kOnOffFirst = 12300;   // on/off: two frequency pairs and one platform item
constexpr int kOnOffCount = 8;       // 12300 .. 12307, one per contention thread and spare
constexpr int kRestartNotice = 20224;
constexpr int kFreqReportSwitch = 20225;
}  // namespace benchcfg

// The configuration (the text of a whole file) for the entry-point, contention
// and probe benchmarks: defaults for the eight EAS groups, the probe command,
// scenes, on/off actions, a timed event and two scheduling events.
std::string entryPointConfig();

// A configuration of exactly `commands` commands (at least 16): the fixed
// commands of entryPointConfig() plus generated ones, a mix of timed events,
// scheduling events and on/off actions, each with one step. *eventId receives a
// generated timed event near the end of the id range.
std::string generatedConfig(int commands, int* eventId);

// A configuration file in a fresh temporary folder, removed by the destructor.
class ConfigFile {
public:
    explicit ConfigFile(const std::string& content);
    ~ConfigFile();
    ConfigFile(const ConfigFile&) = delete;
    ConfigFile& operator=(const ConfigFile&) = delete;

    const std::string& path() const { return mPath; }
    bool ok() const { return !mPath.empty(); }
    size_t bytes() const { return mBytes; }

private:
    std::string mDir;
    std::string mPath;
    size_t mBytes = 0;
};
