// JSON as the tool writes it: valid whatever bytes a value holds.
#ifndef TALDB_TOOL_OUTPUT_JSON_H
#define TALDB_TOOL_OUTPUT_JSON_H

#include <string>
#include <vector>

#include "input/ColumnRules.h"

namespace taldb_cli {

// A JSON string of text, valid whatever bytes it holds: each byte that is not
// part of a well-formed UTF-8 sequence becomes U+FFFD; '"', '\' and the
// control characters (U+0000 to U+001F, U+007F to U+009F) are escaped.
std::string jsonString(const std::string& text);
// A value of a column of that kind: a JSON number when it fits an int or
// bigint column, a JSON string otherwise.
std::string jsonValue(const std::string& value, Kind kind);
// One row as an object keyed by the header.
std::string jsonObject(const std::vector<std::string>& header, const std::vector<Kind>& kinds,
                       const std::vector<std::string>& row);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_JSON_H
