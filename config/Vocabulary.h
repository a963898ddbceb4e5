#pragma once

#include <string>
#include <vector>

#include "freq/FreqTags.h"
#include "sched/SchedTags.h"

// The service's fixed numbers and the words of its configuration language, in one
// place. The service, the platform stand-ins, the configuration checker and every
// tool read them here; no other file writes one of these numbers again. The tag
// numbers themselves are the BRISK_TAG_ macros of freq/FreqTags.h and
// sched/SchedTags.h, and the client ids the FREQ_CLIENT_ macros: this header
// builds on them.
//
// It depends on nothing but the standard library, so that a tool may compile it
// without linking the service.
class Vocabulary {
public:
    // ---- Command ids ----
    static constexpr int kMossSchedCondCmdId =
        4113;  // MOSS levels, only where a group is at its base
    static constexpr int kMossSchedBaseCmdId = 4114;  // MOSS levels; the first one saves the base
    static constexpr int kProbeCmdId = 4116;
    static constexpr int kSceneFirstCmdId = 4118;
    static constexpr int kGovernorBaseCmdId = 4119;  // governor scenes apply beside this scene
    static constexpr int kGovernorFirstCmdId = 4224;
    static constexpr int kSceneLastCmdId = 4352;
    static constexpr int kDefaultGroupCmdId = 5376;
    static constexpr int kOnOffFirstCmdId = 12288;
    static constexpr int kOnOffLastCmdId = 13568;
    static constexpr int kClientRestartCmdId = 20224;
    static constexpr int kFreqReportSwitchCmdId = 20225;
    // The highest id the service dispatches; every id above it is ignored (result 0).
    static constexpr int kLastDispatchedCmdId = kFreqReportSwitchCmdId;

    static constexpr bool inRange(int value, int first, int last) {
        return value >= first && value <= last;
    }
    static constexpr bool isSceneCmdId(int cmdId) {
        return inRange(cmdId, kSceneFirstCmdId, kSceneLastCmdId);
    }
    static constexpr bool isGovernorCmdId(int cmdId) {
        return inRange(cmdId, kGovernorFirstCmdId, kSceneLastCmdId);
    }
    static constexpr bool isOnOffCmdId(int cmdId) {
        return inRange(cmdId, kOnOffFirstCmdId, kOnOffLastCmdId);
    }

    // ---- The one-value payload of scenes, on/off actions and probe events ----
    static constexpr int kBegin = 0;  // a scene or action begins, a probed thread starts work
    static constexpr int kEnd = -1;   // it ends
    // The words people use for them ("begin", "end"); false for any other word.
    static bool payloadForName(const std::string& name, int* value);

    // ---- Results of the entry points ----
    static constexpr int kResultOk = 0;
    static constexpr int kResultNotInited = 1;
    static constexpr int kResultParseFailed = 2;  // the command could not be parsed
    static constexpr int kResultExecutorFailed = 3;
    static constexpr int kResultComponentMissing = 4;
    static constexpr int kResultInvalidParam = -1;
    // What a result means, in a few words ("the service is not initialised"); null
    // for a number that is none of the above (a back-end's own code passed on).
    static const char* resultMeaning(int result);

    // ---- Scene priorities: tag 101 of a scene's step, the text key "priority" of a
    // governor scene's; only 1..500 is a usable priority ----
    static constexpr int kPriorityTag = 101;
    static constexpr char kPriorityKey[] = "priority";
    static constexpr int kMinPriority = 1;
    static constexpr int kMaxPriority = 500;
    static constexpr bool isUsablePriority(int priority) {
        return inRange(priority, kMinPriority, kMaxPriority);
    }

    // ---- On/off actions ----
    // Tag of a platform-only item (value 1): the on/off splitter leaves it to the
    // platform, the configuration conversion gives it to every unknown name.
    static constexpr int kPlatformItemTag = 10;
    // Frequency pairs one on/off step may carry.
    static constexpr int kMaxOnOffPairs = 43;

    // ---- Clients of briskSetConfig ----
    static constexpr int kReportSwitchClient = FREQ_CLIENT_CONTROL;
    static constexpr int kFirstClient = FREQ_CLIENT_DUSK;
    static constexpr int kLastClient = FREQ_CLIENT_MOSS;
    // "DUSK", "FERN" or "MOSS"; null for any other id.
    static const char* clientName(int clientId);
    // A client by its name, in any letter case ("dusk", "Dusk", "DUSK").
    static bool clientForName(const std::string& name, int* clientId);

    // ---- Event frequency tags: the floors and ceilings an event may set ----
    // Each frequency domain (little cluster, big cluster, GPU) with its floor and
    // ceiling tags and the read-only tag of its hardware maximum.
    struct FloorAndCeiling {
        int floor;
        int ceiling;
        int hardwareMax;
    };
    static constexpr FloorAndCeiling kFreqLimitPairs[] = {
        {BRISK_TAG_LITTLE_CPU_MIN, BRISK_TAG_LITTLE_CPU_MAX, BRISK_TAG_LITTLE_CPU_HW_MAX},
        {BRISK_TAG_BIG_CPU_MIN, BRISK_TAG_BIG_CPU_MAX, BRISK_TAG_BIG_CPU_HW_MAX},
        {BRISK_TAG_GPU_MIN, BRISK_TAG_GPU_MAX, BRISK_TAG_GPU_HW_MAX},
    };
    static constexpr int kFreqDomainCount = sizeof(kFreqLimitPairs) / sizeof(kFreqLimitPairs[0]);
    // The domain (index into kFreqLimitPairs) of a floor or ceiling tag; -1 for
    // any other tag.
    static constexpr int freqDomainOf(int tag) {
        for (int i = 0; i < kFreqDomainCount; ++i) {
            if (kFreqLimitPairs[i].floor == tag || kFreqLimitPairs[i].ceiling == tag) {
                return i;
            }
        }
        return -1;
    }
    static constexpr bool isFreqFloorTag(int tag) {
        return tag == BRISK_TAG_LITTLE_CPU_MIN || tag == BRISK_TAG_BIG_CPU_MIN ||
               tag == BRISK_TAG_GPU_MIN;
    }
    static constexpr bool isFreqCeilingTag(int tag) {
        return tag == BRISK_TAG_LITTLE_CPU_MAX || tag == BRISK_TAG_BIG_CPU_MAX ||
               tag == BRISK_TAG_GPU_MAX;
    }
    static constexpr bool isEventFreqTag(int tag) {
        return isFreqFloorTag(tag) || isFreqCeilingTag(tag);
    }

    // ---- Scheduling levels: the ladder a client steps through, lowest first ----
    static constexpr int kSchedLadder[] = {-20, -10, 0, 10, 20, 30, 40};
    static constexpr int kSchedLadderSize = sizeof(kSchedLadder) / sizeof(kSchedLadder[0]);
    static constexpr bool isOnSchedLadder(int level) {
        for (int step : kSchedLadder) {
            if (step == level) {
                return true;
            }
        }
        return false;
    }
    static constexpr bool isGroupTag(int tag) {
        return inRange(tag, BRISK_TAG_GROUP_FIRST, BRISK_TAG_GROUP_LAST);
    }

    // ---- Probe boosting ----
    static constexpr char kProbeMessageFormat[] = "pid=%d|tid=%d";
    static constexpr int kProbeDelayMs = 8;        // a thread waits this long before its boost
    static constexpr int kProbeHoldMs = 256;       // a boost without a stop ends after this
    static constexpr int kProbeDurationCap = 100;  // the probe step's duration is capped to this

    // ---- The configuration language ----
    // The configuration file, relative to the folders the platform searches.
    static constexpr char kConfigFileName[] = "xml/brisk_config_cust.xml";
    static constexpr char kDurationKey[] = "duration";
    // Any tag is named by its number after this prefix ("tag_40").
    static constexpr char kTagNamePrefix[] = "tag_";
    // Tag of a named parameter ("big_cpu_max" -> 5, "tag_123" -> 123); false for a
    // name that is no tag (a platform item, or "duration").
    static bool tagForName(const std::string& name, int* tag);
    // The configuration name of a tag, or null when it has none.
    static const char* nameForTag(int tag);
    // Every name the language gives a tag, in the language's order.
    static std::vector<std::string> tagNames();
    // The known name closest to a mistyped one (a letter case or a couple of
    // letters off), among the tag names and `extra`; empty when none is close.
    static std::string suggestName(const std::string& name,
                                   const std::vector<std::string>& extra = {});
    // The same among `candidates` only (command names, say).
    static std::string closestName(const std::string& name,
                                   const std::vector<std::string>& candidates);

    // ---- Decimal numbers, as every reader of text takes them ----
    enum class NumberForm {
        Digits,  // digits only: "42"
        Signed,  // an optional sign: "-42", "+42"
        Padded,  // an optional sign and blanks around: " -42 " (the configuration files)
    };
    // A whole decimal number of `form` from `low` to `high`; false (and `value`
    // untouched) for anything else, overflow included.
    static bool parseDecimal(const std::string& text, NumberForm form, long long low,
                             long long high, long long* value);
    // A whole decimal int32 of `form`.
    static bool parseInt(const std::string& text, int* value, NumberForm form = NumberForm::Padded);
};
