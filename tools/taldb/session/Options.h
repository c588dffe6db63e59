// The parsed command line: the options given, the command and its
// arguments.
#ifndef TALDB_TOOL_SESSION_OPTIONS_H
#define TALDB_TOOL_SESSION_OPTIONS_H

#include <string>
#include <vector>

#include "output/Rows.h"

namespace taldb_cli {

// The options a command may take, as bits of Command::options.
enum OptionBit : unsigned {
  kOptRoot = 1u << 0,  // --root and --config
  kOptFormat = 1u << 1,
  kOptYes = 1u << 2,
  kOptCreate = 1u << 3,  // --id and --host
  kOptDescription = 1u << 4,
  kOptDryRun = 1u << 5,
  kOptNoHeader = 1u << 6,     // taken by every command that takes --format
  kOptPut = 1u << 7,          // --put, and import's other options
  kOptDumpFormats = 1u << 8,  // --format ini and sql, with kOptFormat
  kOptPartial = 1u << 9,      // --allow-partial: a dump or backup that leaves entries out
  kOptTrim = 1u << 10,        // --trim: values stored without the blanks at their ends
};

struct Options {
  std::string root;
  std::string config;
  bool verbose = false;
  bool quiet = false;     // -q: no confirmation lines, only requested data
  bool noHeader = false;  // --no-header: rows without their header line
  bool help = false;
  bool version = false;
  bool yes = false;
  bool dryRun = false;
  bool put = false;
  bool batchCheck = false;    // import: check each batch as it is written
  bool allowPartial = false;  // dump, backup, restore: a copy without some entries is wanted
  bool trim = false;          // add, put, update, import: blanks at a value's ends are dropped
  std::string fromLine;       // import: the first line of the file to write
  std::string formatName;
  Format format = Format::Table;
  std::string id;
  std::string host;
  std::string description;
  unsigned given = 0;             // OptionBits of the options on the command line
  std::string command;            // the first positional argument
  std::vector<std::string> args;  // the positional arguments after it
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_OPTIONS_H
