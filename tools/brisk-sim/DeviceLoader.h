#pragma once

#include <string>
#include <vector>

#include "tools/brisk-sim/DeviceModel.h"

// Where `brisk-sim --check --device` finds the device (the option given once, or
// twice for a description and a kernel root):
//   a device file          hardware maxima and platform item names (DeviceFileReader);
//   a back-end description the Linux back-end's description file (an XML document):
//                          the platform items it describes, read by the back-end's
//                          own reader; without a kernel root no hardware is known;
//   a kernel root          a folder laid out like / (this machine's "/", or a fake
//                          tree): the hardware maxima that the back-end's discovery
//                          finds there, as its getConfig answers them (kHz), with
//                          the description's choices when one is given too.
// The Linux back-end writes only the platform items its description names, and
// the probe step's own boost minimum.
class DeviceLoader {
public:
    // False with `error` (one line: the file and what is wrong, or why it cannot
    // be read).
    static bool load(const std::vector<std::string>& paths, DeviceModel* out, std::string* error);

private:
    // What the paths name, each kind at most once.
    struct Sources {
        std::string kernelRoot;
        std::string descriptionPath;
        std::string description;
        std::string deviceFile;
        std::string deviceText;
    };
    static bool take(const std::string& path, Sources* sources, std::string* error);
    static bool fromBackend(const Sources& sources, DeviceModel* out, std::string* error);
};
