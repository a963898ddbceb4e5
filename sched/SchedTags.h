#pragma once

// Client tags that route a briskSetConfig request to the scheduling-level manager.
// Tag 40 moves or resets all of a client's groups: config 0 = back to the defaults,
// 1 = one ladder step down, 2 = one ladder step up.
#define BRISK_TAG_SET_SCHED_LEVEL 40
// Tag 42 sets one group: its config is a packed level word, bits 16..31 = group
// index (0..8), bits 0..15 = level + 20.
#define BRISK_TAG_SET_GROUP_SCHED_LEVEL 42

// Whole-client configs of BRISK_TAG_SET_SCHED_LEVEL.
#define BRISK_SCHED_LEVEL_RESET 0
#define BRISK_SCHED_LEVEL_STEP_DOWN 1
#define BRISK_SCHED_LEVEL_STEP_UP 2

// EAS scheduling groups, addressed by tag = 50 + group index. hmp (50) alone and
// the eight EAS groups (51..58) are two alternative set-ups of the same machine.
enum EasGroupTag : int {
    BRISK_TAG_GROUP_HMP = 50,
    BRISK_TAG_GROUP_BOOST = 51,
    BRISK_TAG_GROUP_VIP = 52,
    BRISK_TAG_GROUP_TOP_APP = 53,
    BRISK_TAG_GROUP_ROOT = 54,
    BRISK_TAG_GROUP_FOREGROUND = 55,
    BRISK_TAG_GROUP_SYSTEM_BACKGROUND = 56,
    BRISK_TAG_GROUP_KEY_BACKGROUND = 57,
    BRISK_TAG_GROUP_BACKGROUND = 58,
};

#define BRISK_TAG_GROUP_FIRST BRISK_TAG_GROUP_HMP
#define BRISK_TAG_GROUP_LAST BRISK_TAG_GROUP_BACKGROUND
// The first and last of the eight EAS groups (hmp excluded).
#define BRISK_TAG_EAS_GROUP_FIRST BRISK_TAG_GROUP_BOOST
#define BRISK_TAG_EAS_GROUP_LAST BRISK_TAG_GROUP_BACKGROUND

// Number of EAS groups; also the most pairs an event or request may carry.
#define SCHED_MAX_GROUP_NUM 8
// Highest group index a packed level word may carry (hmp is index 0).
#define SCHED_MAX_GROUP_INDEX 8
// Offset added to a level in the low half of a packed level word.
#define SCHED_LEVEL_WORD_OFFSET 20

// Level of a MOSS event-map group that no scheduling event has set yet. It is
// handed to the platform as it stands.
#define SCHED_LEVEL_UNSET (-100)

// Capacity of the level ladder (only the first entries are in use).
#define SCHED_LEVEL_CAPACITY 50
