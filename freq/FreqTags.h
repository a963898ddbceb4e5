#pragma once

// Tags of the frequency and thermal limits. Values are int32: 0 means no limit,
// -1 means not set.
#define BRISK_TAG_LITTLE_CPU_MIN 1          // little-cluster CPU frequency floor
#define BRISK_TAG_LITTLE_CPU_MAX 2          // little-cluster CPU frequency ceiling
#define BRISK_TAG_BIG_CPU_MIN 4             // big-cluster CPU frequency floor
#define BRISK_TAG_BIG_CPU_MAX 5             // big-cluster CPU frequency ceiling
#define BRISK_TAG_GPU_MIN 7                 // GPU frequency floor
#define BRISK_TAG_GPU_MAX 8                 // GPU frequency ceiling
#define BRISK_TAG_IPA_ON_TEMP 17            // thermal (IPA) switch-on temperature
#define BRISK_TAG_IPA_CONTROL_TEMP 18       // thermal (IPA) control temperature
#define BRISK_TAG_IPA_SUSTAINABLE_POWER 19  // thermal (IPA) sustainable power
#define BRISK_TAG_FORK_ON_BIG_CLUSTER 20    // new tasks forked on the big cluster: 0 off, 1 on
#define BRISK_TAG_LITTLE_CPU_HW_MAX 22      // hardware maximum of the little cluster (read only)
#define BRISK_TAG_BIG_CPU_HW_MAX 24         // hardware maximum of the big cluster (read only)
#define BRISK_TAG_GPU_HW_MAX 26             // hardware maximum of the GPU (read only)
#define BRISK_TAG_FREQ_INFO_UPLOAD 10000    // switch for frequency-limit reporting (client 0 only)

// Client ids of briskSetConfig. Ids of 4 and above are event cmdIds.
#define FREQ_CLIENT_CONTROL 0  // not a client: only the reporting switch
#define FREQ_CLIENT_DUSK 1
#define FREQ_CLIENT_FERN 2
#define FREQ_CLIENT_MOSS 3
