#pragma once

#include <cstddef>

// Counts the attributes of every start tag of an XML text without building a
// document. tinyxml2 checks each new attribute of an element against all the
// earlier ones, so an element with a huge number of attributes takes quadratic
// time to parse (a million never finish); the loader and the checker run this
// linear scan first and refuse such files before tinyxml2 sees them.
//
// The scan tells nodes apart the way tinyxml2 does: "<?" to "?>", "<!--" to "-->",
// "<![CDATA[" to "]]>", any other "<!" to ">", end tags, and start tags, whose
// attributes are counted by their quoted values.
class XmlAttributeScan {
public:
    // False when an element of `data` has more than `limit` attributes; `line`
    // then receives the line on which that element begins.
    static bool withinLimit(const char* data, size_t size, size_t limit, int* line);
    // The same for the file at `path`. A file that cannot be read passes: the
    // parser reports it in its own words.
    static bool fileWithinLimit(const char* path, size_t limit, int* line);
};
