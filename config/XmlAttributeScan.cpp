#include "config/XmlAttributeScan.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {
class Scanner {
public:
    Scanner(const char* data, size_t size) : mData(data), mSize(size) {}

    bool withinLimit(size_t limit, int* line) {
        while (mPos < mSize) {
            if (mData[mPos] != '<') {
                advance();
            } else if (startsWith("<?")) {
                skipPast("?>");
            } else if (startsWith("<!--")) {
                skipPast("-->");
            } else if (startsWith("<![CDATA[")) {
                skipPast("]]>");
            } else if (startsWith("<!") || startsWith("</")) {
                skipPast(">");
            } else {
                int tagLine = mLine;
                if (startTagAttributes(limit) > limit) {
                    *line = tagLine;
                    return false;
                }
            }
        }
        return true;
    }

private:
    void advance() {
        mLine += mData[mPos] == '\n';
        ++mPos;
    }

    bool startsWith(const char* text) const {
        size_t length = strlen(text);
        return mSize - mPos >= length && memcmp(mData + mPos, text, length) == 0;
    }

    void skipPast(const char* end) {
        size_t length = strlen(end);
        while (mPos < mSize && !startsWith(end)) {
            advance();
        }
        mPos += mPos < mSize ? length : 0;
    }

    // Counts the quoted values of the start tag at mPos, stopping once the count
    // passes `limit`; leaves mPos after the tag.
    size_t startTagAttributes(size_t limit) {
        size_t count = 0;
        char quote = 0;
        for (advance(); mPos < mSize && count <= limit; advance()) {
            char c = mData[mPos];
            if (quote != 0) {
                quote = c == quote ? 0 : quote;
            } else if (c == '"' || c == '\'') {
                quote = c;
                ++count;
            } else if (c == '>') {
                advance();
                break;
            }
        }
        return count;
    }

    const char* mData;
    size_t mSize;
    size_t mPos = 0;
    int mLine = 1;
};
}  // namespace

bool XmlAttributeScan::withinLimit(const char* data, size_t size, size_t limit, int* line) {
    return Scanner(data, size).withinLimit(limit, line);
}

bool XmlAttributeScan::fileWithinLimit(const char* path, size_t limit, int* line) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return true;
    }
    std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return withinLimit(data.data(), data.size(), limit, line);
}
