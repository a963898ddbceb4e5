#pragma once

#include <cstdio>
#include <string>

struct Json;

// 'briskctl status' for people: the daemon's status document on one screen.
class StatusPrinter {
public:
    static void print(const Json& status, FILE* out);

private:
    static void header(const Json& status, FILE* out);
    static void nodes(const Json& backend, FILE* out);
    static void groups(const Json& status, FILE* out);
    static void scenes(const Json& status, FILE* out);
    static void rest(const Json& status, FILE* out);

    // "12300 game" (the name when there is one).
    static std::string command(const Json& entry);
    // A number, a text or "-" for null.
    static std::string value(const Json* value);
};
