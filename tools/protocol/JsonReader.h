#pragma once

#include <string>
#include <utility>
#include <vector>

// Just enough JSON for Google Benchmark's result files and briskd's documents
// (status, command list): objects keep their members in document order.
struct Json {
    enum class Type { Null, Bool, Number, String, Array, Object };

    Type type = Type::Null;
    bool boolean = false;
    double number = 0;
    std::string text;
    std::vector<Json> items;                            // Array
    std::vector<std::pair<std::string, Json>> members;  // Object, in file order

    // The member `key` of an object, or null.
    const Json* get(const std::string& key) const;
    double numberOr(const std::string& key, double fallback) const;
    std::string textOr(const std::string& key, const std::string& fallback) const;
};

// Parses `input`; false (with *error set) when it is not valid JSON.
bool parseJson(const std::string& input, Json* out, std::string* error);
