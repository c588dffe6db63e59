// Text for messages: quoting, bytes that are not UTF-8 shown escaped,
// counts in words.
#ifndef TALDB_TOOL_BASE_TEXT_H
#define TALDB_TOOL_BASE_TEXT_H

#include <stddef.h>

#include <string>

namespace taldb_cli {

// Text in single quotes with line feeds shown as "\n", for messages.
std::string quoted(const std::string& text);
// Text for a message: each byte that is not part of a well-formed UTF-8
// sequence shown as \xNN, never raw.
std::string shownText(const std::string& text);
// Whether text is well-formed UTF-8 throughout.
bool isUtf8(const std::string& text);
// The length of the well-formed UTF-8 sequence at text[at], or 0 when none
// begins there.
size_t utf8Length(const std::string& text, size_t at);
// "1 record", "2 records".
std::string plural(size_t count, const char* one, const char* many);
// How many entries of one kind a message names before it counts the rest.
constexpr size_t kNamedEntries = 20;
// A word of a command line quoted as a shell reads it back, for the commands
// the tool suggests.
std::string shellWord(const std::string& word);
// A count with its thousands separated by commas: "200,000".
std::string thousands(size_t count);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_BASE_TEXT_H
