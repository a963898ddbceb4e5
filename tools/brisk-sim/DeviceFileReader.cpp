#include "tools/brisk-sim/DeviceFileReader.h"

#include <climits>
#include <sstream>
#include <vector>

namespace {
const char kItemWord[] = "item";

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line.substr(0, line.find('#')));
    std::vector<std::string> out;
    for (std::string word; in >> word;) {
        out.push_back(word);
    }
    return out;
}

std::string domainWords() {
    std::string text;
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        text += std::string(DeviceModel::domainWord(i)) + ", ";
    }
    return text + kItemWord;
}
}  // namespace

bool DeviceFileReader::parse(const std::string& text, const std::string& fileName, DeviceModel* out,
                             std::string* error) {
    DeviceModel model;
    model.source = fileName;
    std::istringstream in(text);
    int lineNumber = 0;
    for (std::string line; std::getline(in, line);) {
        ++lineNumber;
        const std::string where = fileName + ", line " + std::to_string(lineNumber) + ": ";
        const std::vector<std::string> parts = words(line);
        if (parts.empty()) {
            continue;
        }
        if (parts[0] == kItemWord) {
            if (parts.size() < 2) {
                *error = where + "item needs one or more platform item names";
                return false;
            }
            model.itemsKnown = true;
            model.items.insert(parts.begin() + 1, parts.end());
            continue;
        }
        const int domain = DeviceModel::domainForWord(parts[0]);
        if (domain < 0) {
            *error = where + "unknown word \"" + parts[0] + "\" (known: " + domainWords() + ")";
            return false;
        }
        long long max = 0;
        if (parts.size() != 2 ||
            !Vocabulary::parseDecimal(parts[1], Vocabulary::NumberForm::Digits, 1, INT_MAX, &max)) {
            *error =
                where + parts[0] + " needs one hardware maximum, a whole number of kHz above 0";
            return false;
        }
        if (model.hardwareMax[domain] != 0) {
            *error = where + parts[0] + " is given twice";
            return false;
        }
        model.hardwareMax[domain] = max;
    }
    *out = model;
    return true;
}
