#pragma once

#include <string>
#include <vector>

// The names of the configuration language: parameter names that stand for
// integer tags, and the strict number syntax of their values.
class ConfigVocabulary {
public:
    // Tag of a named parameter ("big_cpu_max" -> 5, "tag_123" -> 123); false for a
    // name that is no tag (a platform item, or "duration").
    static bool tagForName(const std::string& name, int* tag);
    // The configuration name of a tag, or null when it has none.
    static const char* nameForTag(int tag);
    // Every name that stands for a tag (tag_N aside), in the language's order.
    static std::vector<std::string> tagNames();
    // A whole decimal int32 (optional sign, blanks around it allowed); false otherwise.
    static bool parseInt(const std::string& text, int* value);

    // Tag given to every platform-only item, with value 1.
    static constexpr int kPlatformItemTag = 10;
};
