#pragma once

#include <string>

#include "tools/brisk-sim/DeviceModel.h"

// Reads the device for `brisk-sim --check --device FILE`: a small device file,
// one statement per line ('#' starts a comment):
//   little 1800000          the little cluster's hardware maximum, in kHz
//   big 2400000             the big cluster's
//   gpu 850000              the GPU's, in kHz as the configuration writes it
//   item touch_boost fan    platform items the device declares (repeatable)
// A domain not named is not checked; with no item line the device's items are
// unknown.
// (DeviceLoader reads the file, and tells it from the back-end's description.)
class DeviceFileReader {
public:
    // The device file `text`; `fileName` names it in messages. False with `error`
    // (one line: the file, the line and the problem).
    static bool parse(const std::string& text, const std::string& fileName, DeviceModel* out,
                      std::string* error);
};
