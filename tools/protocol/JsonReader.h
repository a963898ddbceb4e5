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
    // The member `key` as a whole number from `low` to `high`, or `fallback`
    // when it is missing, not a number, not whole or out of range (a document
    // from elsewhere may hold 1e300 where an int is expected).
    long long integerOr(const std::string& key, long long low, long long high,
                        long long fallback) const;
    // This value as such a number; false when it is none.
    bool integer(long long low, long long high, long long* out) const;
    std::string textOr(const std::string& key, const std::string& fallback) const;
};

// Parses `input`; false (with *error set) when it is not valid JSON.
bool parseJson(const std::string& input, Json* out, std::string* error);
