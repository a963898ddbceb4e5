#include "bench/BenchConfig.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {
const char kHeader[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<policy>\n";
const char kFooter[] = "</policy>\n";

// The commands every benchmark configuration carries.
std::string fixedCommands() {
    std::ostringstream out;
    out << "  <command id=\"5376\" name=\"default_groups\"><step>"
           "<boost>0</boost><vip>0</vip><top_app>0</top_app><root>0</root>"
           "<foreground>0</foreground><system_background>0</system_background>"
           "<key_background>0</key_background><background>0</background></step></command>\n"
        << "  <command id=\"4116\" name=\"probe\"><step><duration>100</duration>"
           "<probe_boost>on</probe_boost></step></command>\n"
        << "  <command id=\"" << benchcfg::kSceneVideo
        << "\" name=\"video\"><step><duration>100</duration><priority>100</priority>"
           "<video_boost>on</video_boost></step></command>\n"
        << "  <command id=\"" << benchcfg::kSceneGovBase
        << "\" name=\"gov_base\"><step><duration>100</duration><governor>on</governor>"
           "</step></command>\n"
        << "  <command id=\"" << benchcfg::kSceneLight
        << "\" name=\"light\"><step><duration>100</duration><light_boost>on</light_boost>"
           "</step></command>\n"
        << "  <command id=\"" << benchcfg::kSceneGovGame
        << "\" name=\"gov_game\"><step><duration>100</duration><priority>150</priority>"
           "<governor_profile>game</governor_profile></step></command>\n"
        << "  <command id=\"" << benchcfg::kTimedEvent
        << "\" name=\"io_boost\"><step><duration>50</duration><io_boost>on</io_boost>"
           "</step></command>\n"
        << "  <command id=\"" << benchcfg::kSchedEventA
        << "\" name=\"top_app_10\"><step><top_app>10</top_app></step></command>\n"
        << "  <command id=\"" << benchcfg::kSchedEventB
        << "\" name=\"top_app_20\"><step><top_app>20</top_app></step></command>\n";
    for (int i = 0; i < benchcfg::kOnOffCount; ++i) {
        out << "  <command id=\"" << benchcfg::kOnOffFirst + i << "\" name=\"app_launch_" << i
            << "\"><step><little_cpu_max>1200000</little_cpu_max>"
               "<big_cpu_min>1500000</big_cpu_min><touch_boost>on</touch_boost></step></command>\n";
    }
    return out.str();
}

int fixedCommandCount() {
    return 9 + benchcfg::kOnOffCount;
}

// Walks the command ids that no fixed meaning claims, in ascending order.
class PlainIds {
public:
    int next() {
        for (;;) {
            int id = mNext++;
            bool fixed = id == 4116 || (id >= 4118 && id <= 4352) || id == 5376 ||
                         (id >= 12288 && id <= 13568) || id == benchcfg::kTimedEvent ||
                         id == benchcfg::kSchedEventA || id == benchcfg::kSchedEventB;
            if (!fixed) {
                return id;
            }
        }
    }

private:
    int mNext = 1;
};
}  // namespace

std::string entryPointConfig() {
    return kHeader + fixedCommands() + kFooter;
}

std::string generatedConfig(int commands, int* eventId) {
    std::ostringstream out;
    out << kHeader << fixedCommands();
    PlainIds plain;
    int onOffId = benchcfg::kOnOffFirst + benchcfg::kOnOffCount;
    int lastTimed = benchcfg::kTimedEvent;
    for (int i = fixedCommandCount(); i < commands; ++i) {
        int kind = i % 3;
        if (kind == 2 && onOffId <= 13568) {
            out << "  <command id=\"" << onOffId++ << "\" name=\"onoff_" << i
                << "\"><step><gpu_max>" << 500000 + i % 1000
                << "</gpu_max><little_cpu_min>900000</little_cpu_min>"
                   "<touch_boost>on</touch_boost></step></command>\n";
        } else if (kind == 1) {
            out << "  <command id=\"" << plain.next() << "\" name=\"sched_" << i
                << "\"><step><top_app>" << (i % 2 == 0 ? 10 : 20)
                << "</top_app><foreground>0</foreground></step></command>\n";
        } else {
            lastTimed = plain.next();
            out << "  <command id=\"" << lastTimed << "\" name=\"timed_" << i
                << "\"><step><duration>" << 20 + i % 80
                << "</duration><io_boost>on</io_boost><cpuset>top</cpuset></step></command>\n";
        }
    }
    out << kFooter;
    if (eventId != nullptr) {
        *eventId = lastTimed;
    }
    return out.str();
}

ConfigFile::ConfigFile(const std::string& content) {
    // The platform's resolver takes paths shorter than 128 bytes: stay under /tmp.
    char dirTemplate[] = "/tmp/brisk-bench-XXXXXX";
    if (mkdtemp(dirTemplate) == nullptr) {
        return;
    }
    mDir = dirTemplate;
    std::string path = mDir + "/brisk_config_cust.xml";
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (file) {
        mPath = path;
        mBytes = content.size();
    }
}

ConfigFile::~ConfigFile() {
    if (!mPath.empty()) {
        unlink(mPath.c_str());
    }
    if (!mDir.empty()) {
        rmdir(mDir.c_str());
    }
}
