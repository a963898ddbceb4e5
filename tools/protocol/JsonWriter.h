#pragma once

#include <string>
#include <vector>

// Writes one JSON document, indented two blanks a level, members in the order
// they are written. Texts are escaped (quotes, backslashes, control characters);
// other bytes pass as they are.
//
//     JsonWriter json;
//     json.beginObject();
//     json.field("result", 0);
//     json.key("values");
//     json.beginArray();
//     ...
//     json.endArray();
//     json.endObject();
//     std::string text = json.take();
class JsonWriter {
public:
    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }
    // The next value is the member `name` of the object being written.
    void key(const std::string& name);

    void value(long long number);
    void value(int number) { value(static_cast<long long>(number)); }
    void value(unsigned int number) { value(static_cast<long long>(number)); }
    void value(bool flag);
    void value(const std::string& text);
    void value(const char* text);  // null writes null
    void null();

    template <typename T>
    void field(const std::string& name, const T& v) {
        key(name);
        value(v);
    }

    // The document, ending in a newline; the writer starts afresh.
    std::string take();

private:
    void open(char bracket);
    void close(char bracket);
    // Separates and indents before a value (nothing after a key).
    void beforeValue();
    void newline();
    void escaped(const std::string& text);

    std::string mOut;
    std::vector<int> mCounts;  // values written at each open level
    bool mAfterKey = false;
};
