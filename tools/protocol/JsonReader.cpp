#include "tools/protocol/JsonReader.h"

#include <cmath>
#include <cstdlib>

namespace {

class Parser {
public:
    explicit Parser(const std::string& input) : mIn(input) {}

    bool parse(Json* out, std::string* error) {
        bool ok = value(out, 0) && (skipSpace(), mPos == mIn.size());
        if (!ok && error != nullptr) {
            *error = "invalid JSON near byte " + std::to_string(mPos);
        }
        return ok;
    }

private:
    static constexpr int kMaxDepth = 64;

    void skipSpace() {
        while (mPos < mIn.size() &&
               (mIn[mPos] == ' ' || mIn[mPos] == '\n' || mIn[mPos] == '\r' || mIn[mPos] == '\t')) {
            ++mPos;
        }
    }

    bool literal(const char* word) {
        size_t start = mPos;
        for (const char* c = word; *c != '\0'; ++c, ++mPos) {
            if (mPos >= mIn.size() || mIn[mPos] != *c) {
                mPos = start;
                return false;
            }
        }
        return true;
    }

    bool string(std::string* out) {
        if (mPos >= mIn.size() || mIn[mPos] != '"') {
            return false;
        }
        ++mPos;
        out->clear();
        while (mPos < mIn.size()) {
            char c = mIn[mPos++];
            if (c == '"') {
                return true;
            }
            if (c != '\\') {
                out->push_back(c);
                continue;
            }
            if (mPos >= mIn.size()) {
                return false;
            }
            char e = mIn[mPos++];
            switch (e) {
                case 'n':
                    out->push_back('\n');
                    break;
                case 't':
                    out->push_back('\t');
                    break;
                case 'r':
                    out->push_back('\r');
                    break;
                case 'b':
                    out->push_back('\b');
                    break;
                case 'f':
                    out->push_back('\f');
                    break;
                case 'u': {
                    if (mPos + 4 > mIn.size()) {
                        return false;
                    }
                    unsigned code =
                        static_cast<unsigned>(strtoul(mIn.substr(mPos, 4).c_str(), nullptr, 16));
                    mPos += 4;
                    // Enough for the text of result files: ASCII kept, the rest as '?'.
                    out->push_back(code < 0x80 ? static_cast<char>(code) : '?');
                    break;
                }
                default:
                    out->push_back(e);
                    break;
            }
        }
        return false;
    }

    bool value(Json* out, int depth) {
        if (depth > kMaxDepth) {
            return false;
        }
        skipSpace();
        if (mPos >= mIn.size()) {
            return false;
        }
        char c = mIn[mPos];
        if (c == '{') {
            out->type = Json::Type::Object;
            ++mPos;
            skipSpace();
            if (mPos < mIn.size() && mIn[mPos] == '}') {
                ++mPos;
                return true;
            }
            for (;;) {
                skipSpace();
                std::string key;
                if (!string(&key)) {
                    return false;
                }
                skipSpace();
                if (mPos >= mIn.size() || mIn[mPos] != ':') {
                    return false;
                }
                ++mPos;
                Json member;
                if (!value(&member, depth + 1)) {
                    return false;
                }
                out->members.emplace_back(std::move(key), std::move(member));
                skipSpace();
                if (mPos < mIn.size() && mIn[mPos] == ',') {
                    ++mPos;
                    continue;
                }
                if (mPos < mIn.size() && mIn[mPos] == '}') {
                    ++mPos;
                    return true;
                }
                return false;
            }
        }
        if (c == '[') {
            out->type = Json::Type::Array;
            ++mPos;
            skipSpace();
            if (mPos < mIn.size() && mIn[mPos] == ']') {
                ++mPos;
                return true;
            }
            for (;;) {
                Json item;
                if (!value(&item, depth + 1)) {
                    return false;
                }
                out->items.push_back(std::move(item));
                skipSpace();
                if (mPos < mIn.size() && mIn[mPos] == ',') {
                    ++mPos;
                    continue;
                }
                if (mPos < mIn.size() && mIn[mPos] == ']') {
                    ++mPos;
                    return true;
                }
                return false;
            }
        }
        if (c == '"') {
            out->type = Json::Type::String;
            return string(&out->text);
        }
        if (literal("true") || literal("false")) {
            out->type = Json::Type::Bool;
            out->boolean = mIn[mPos - 1] == 'e' && mIn[mPos - 2] == 'u';
            return true;
        }
        if (literal("null")) {
            out->type = Json::Type::Null;
            return true;
        }
        const char* start = mIn.c_str() + mPos;
        char* end = nullptr;
        double number = strtod(start, &end);
        if (end == start) {
            return false;
        }
        mPos += static_cast<size_t>(end - start);
        out->type = Json::Type::Number;
        out->number = number;
        return true;
    }

    const std::string& mIn;
    size_t mPos = 0;
};

}  // namespace

const Json* Json::get(const std::string& key) const {
    for (const auto& member : members) {
        if (member.first == key) {
            return &member.second;
        }
    }
    return nullptr;
}

double Json::numberOr(const std::string& key, double fallback) const {
    const Json* v = get(key);
    return v != nullptr && v->type == Type::Number ? v->number : fallback;
}

bool Json::integer(long long low, long long high, long long* out) const {
    // Whole numbers are exact in a double up to 2^53; beyond that, and for NaN,
    // the conversion to an integer could be undefined.
    constexpr double kExact = 9007199254740992.0;
    if (type != Type::Number || !(number >= -kExact && number <= kExact) ||
        std::trunc(number) != number) {
        return false;
    }
    const auto whole = static_cast<long long>(number);
    if (whole < low || whole > high) {
        return false;
    }
    *out = whole;
    return true;
}

long long Json::integerOr(const std::string& key, long long low, long long high,
                          long long fallback) const {
    const Json* v = get(key);
    long long whole = 0;
    return v != nullptr && v->integer(low, high, &whole) ? whole : fallback;
}

std::string Json::textOr(const std::string& key, const std::string& fallback) const {
    const Json* v = get(key);
    return v != nullptr && v->type == Type::String ? v->text : fallback;
}

bool parseJson(const std::string& input, Json* out, std::string* error) {
    *out = Json();
    return Parser(input).parse(out, error);
}
