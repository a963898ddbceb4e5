#include "tools/protocol/JsonWriter.h"

#include <cstdio>

void JsonWriter::newline() {
    mOut += '\n';
    mOut.append(2 * mCounts.size(), ' ');
}

void JsonWriter::beforeValue() {
    if (mAfterKey) {
        mAfterKey = false;
        return;
    }
    if (!mCounts.empty()) {
        if (mCounts.back()++ > 0) {
            mOut += ',';
        }
        newline();
    }
}

void JsonWriter::open(char bracket) {
    beforeValue();
    mOut += bracket;
    mCounts.push_back(0);
}

void JsonWriter::close(char bracket) {
    const bool empty = mCounts.empty() || mCounts.back() == 0;
    if (!mCounts.empty()) {
        mCounts.pop_back();
    }
    if (!empty) {
        newline();
    }
    mOut += bracket;
}

void JsonWriter::key(const std::string& name) {
    beforeValue();
    escaped(name);
    mOut += ": ";
    mAfterKey = true;
}

void JsonWriter::value(long long number) {
    beforeValue();
    mOut += std::to_string(number);
}

void JsonWriter::value(bool flag) {
    beforeValue();
    mOut += flag ? "true" : "false";
}

void JsonWriter::value(const std::string& text) {
    beforeValue();
    escaped(text);
}

void JsonWriter::value(const char* text) {
    if (text == nullptr) {
        null();
        return;
    }
    value(std::string(text));
}

void JsonWriter::null() {
    beforeValue();
    mOut += "null";
}

void JsonWriter::escaped(const std::string& text) {
    mOut += '"';
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            mOut += '\\';
            mOut += c;
        } else if (c == '\n') {
            mOut += "\\n";
        } else if (c == '\t') {
            mOut += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            char code[8];
            snprintf(code, sizeof(code), "\\u%04x", byte);
            mOut += code;
        } else {
            mOut += c;
        }
    }
    mOut += '"';
}

std::string JsonWriter::take() {
    std::string out;
    out.swap(mOut);
    out += '\n';
    mCounts.clear();
    mAfterKey = false;
    return out;
}
