// The command table, the command-line parser and RunTool. Commands go
// through the public API of libtaldb.
#include "Tool.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "Cli.h"

namespace taldb_cli {

namespace {

struct Command {
  const char* name;
  const char* usage;  // the arguments after the command name
  const char* summary;
  const char* details;
  size_t minArgs;
  size_t maxArgs;
  unsigned options;
  int (*run)(Context&);
};

constexpr size_t kMany = static_cast<size_t>(-1);

const Command kCommands[] = {
    {"create", "DESCRIPTION.ini [--id N] [--host TEXT]",
     "create a database from a description file, then open it",
     "Every section after the first of the description file is a table: its 'schema' key\n"
     "lists the columns and its keys rec_1, rec_2, ... are seed records. In them\n"
     "{{$talid}} becomes the --id number (default 1) and {{$talhost}} the --host text\n"
     "(default 127.0.0.1). Refused when a database exists already under the root. Seed\n"
     "records are checked against their schema before anything is made. The database is\n"
     "built under a hidden name in the root and moved into place whole, so a create that\n"
     "fails, is killed or loses power leaves no partial database in the way of the next.\n",
     1, 1, kOptRoot | kOptCreate, cmdCreate},
    {"tables", "", "each table with its column count and record count",
     "Record files are counted as 'count' counts them; a table whose directory holds\n"
     "other entries gets a line on standard error.\n",
     0, 0, kOptRoot | kOptFormat, cmdTables},
    {"schema", "TABLE", "the columns of a table and their types",
     "The first column holds each record's name, which is its file name.\n", 1, 1,
     kOptRoot | kOptFormat, cmdSchema},
    {"list", "TABLE [CONDITION]", "the records of a table, or those matching a condition",
     "A condition is COLUMN=VALUE terms joined by ',', all of which must hold, compared\n"
     "as exact text: 'port=8080,name=web01'. Every term must name a column of the table.\n"
     "Entries of the table directory that are not readable records (directories, marked\n"
     "names, .tmp leftovers, unreadable or short files) are named on standard error.\n",
     1, 2, kOptRoot | kOptFormat, cmdList},
    {"get", "TABLE ID [COLUMN]", "one record, or one of its values",
     "With COLUMN only the value is printed, as it is stored; with --format json as a\n"
     "JSON value.\n",
     2, 3, kOptRoot | kOptFormat, cmdGet},
    {"count", "TABLE", "the number of records of a table",
     "Record files are counted by name and kind, without reading them; the entries that\n"
     "are no record files are named on standard error. 'list' names the files that\n"
     "cannot be read.\n",
     1, 1, kOptRoot, cmdCount},
    {"add", "TABLE VALUES", "add a record under the next free id and print the id",
     "VALUES are the columns after the first, in schema order: one argument read as a line\n"
     "of CSV ('web01,8080'; a value holding ',' or '\"' is quoted as CSV quotes it, doubling\n"
     "a '\"' inside: '\"1 Main St, Springfield\",8080'), or one argument each, taken whole\n"
     "(web01 8080). A value must not contain '|' or a line feed, nor be longer than 2047\n"
     "bytes; the number of values must match the schema. The store drops blanks at the\n"
     "ends of a value: such a value is refused with exit status 2, naming its column,\n"
     "unless --trim asks for it to be stored trimmed. A value of an int or bigint column is a "
     "whole number as it prints:\n"
     "an optional '-' and digits, no '+', no leading zero, no '-0', within the type's\n"
     "range (32 or 64 bits), never empty; anything else is refused with exit status 2.\n"
     "Put '--' before values that begin with '-'. When the next id would pass 2147483647\n"
     "add fails and writes nothing; 'put' writes under a free id.\n",
     2, kMany, kOptRoot | kOptTrim, cmdAdd},
    {"put", "TABLE ID,VALUES", "write a record under a given id, replacing any record of that id",
     "ID is a whole number from 0 to 2147483647, followed by the values of the other\n"
     "columns, given and checked as for 'add'.\n",
     2, kMany, kOptRoot | kOptTrim, cmdPut},
    {"update", "TABLE ID COLUMN=VALUE[,...]", "change columns of a record",
     "The first column is the record's name and cannot be updated; every column must be\n"
     "one of the table's, and a value of an int or bigint column a whole number as for\n"
     "'add'. Each argument is read as a line of CSV, so an assignment whose value holds ','\n"
     "or '\"' is quoted whole: '\"address=1 Main St, Springfield\",port=80'. Blanks at the\n"
     "ends of a value are refused unless --trim, as for 'add'. Prints the columns whose\n"
     "stored value changed. A record holding a value longer than 2047 bytes, or more fields\n"
     "than the table has columns, is not updated: it would be written back cut.\n",
     3, kMany, kOptRoot | kOptTrim, cmdUpdate},
    {"delete", "TABLE ID", "delete a record",
     "Exit status 1 when the record file is still there afterwards.\n", 2, 2, kOptRoot, cmdDelete},
    {"seed", "TABLE FILE.ini", "add the records rec_1, rec_2, ... of the table's section in FILE",
     "Each seed record begins with its id; a record of the same id is replaced.\n", 2, 2, kOptRoot,
     cmdSeed},
    {"add-table", "TABLE COLUMN-SPEC", "add a table, e.g. 'id(int), name(varchar)'",
     "Each column is NAME(TYPE), the name without blanks and given once, the type int\n"
     "(32-bit), bigint (64-bit) or varchar (text). The first column holds the ids.\n",
     2, kMany, kOptRoot, cmdAddTable},
    {"drop-table", "TABLE", "remove an empty table", "Empty it first with 'clear'.\n", 1, 1,
     kOptRoot, cmdDropTable},
    {"clear", "TABLE", "delete every record of a table",
     "Entries still there afterwards are named with the system's reason, with exit\n"
     "status 1.\n",
     1, 1, kOptRoot, cmdClear},
    {"drop", "--yes", "delete the whole database: every table, record and directory", "", 0, 0,
     kOptRoot | kOptYes, cmdDrop},
    {"recover", "", "remove the marked leftovers (names with .ADD or .UPDATE) of every table",
     "Recovery stops at a table without a directory and names it.\n", 0, 0, kOptRoot, cmdRecover},
    {"check", "", "report problems on disk without changing anything",
     "Reports marked names, .tmp leftovers of interrupted writes, records that cannot be\n"
     "read, have too few or too many fields or hold a value longer than 2047 bytes, table\n"
     "directories that cannot be read, record names that\n"
     "are not ids (negative ones among them), values that do not fit their column's type\n"
     "(as 'add' checks it), text and names that --format sql refuses, schema files that\n"
     "do not load whole, and table directories\n"
     "and schema files without each other, and symbolic links, FIFOs and devices in table\n"
     "directories, which it never follows nor opens (repair does not remove a link: remove\n"
     "it by hand), and says of each whether 'taldb repair' fixes it. Exit status 1 when it\n"
     "finds any.\n",
     0, 0, kOptRoot, cmdCheck},
    {"repair", "[TABLE] [--dry-run]", "finish or clean up the writes a crash interrupted",
     "For every table, or only TABLE: a leftover N.tmp holding a whole record whose record\n"
     "N is missing is renamed into place; one beside its record N is removed (that write\n"
     "never completed); one that is not a whole record is left for you to inspect; marked\n"
     "names are removed as 'recover' removes them. Each file is printed with what was done.\n"
     "--dry-run prints what would be done and changes nothing. Run it after an unclean\n"
     "stop, before the host starts writing again.\n",
     0, 1, kOptRoot | kOptDryRun, cmdRepair},
    {"import", "TABLE FILE|- [--put] [--from-line N] [--batch-check]",
     "add the rows of a CSV file (or standard input)",
     "The first line names columns of the table, in any order; the columns it leaves out\n"
     "stay empty, and so do trailing cells a row leaves out. An int or bigint column is\n"
     "never empty, so a header that leaves one out is refused, naming it. FILE may be a\n"
     "pipe or a FIFO, such as <(zcat rows.csv.gz). Each row is added under the\n"
     "next free id and the ids are printed; the header may name the first column only with\n"
     "--put, which keeps its values (0 to 2147483647) as the records' ids, replacing records\n"
     "of the same id, so that running the same --put import again is safe. Cells may be\n"
     "quoted as CSV output quotes them, and a quoted cell may hold ','; a cell with blanks\n"
     "at its ends is refused unless --trim, as for 'add'. A UTF-8 byte-order mark,\n"
     "\"\\r\\n\" line ends and blank lines are taken as spreadsheets write them.\n"
     "Every row is checked before the first is written; a problem names its line and\n"
     "writes nothing. --batch-check reads the file once and checks each batch as it goes:\n"
     "a problem then ends the import with the rows before its batch written.\n"
     "Rows are written in batches of 2,000, each on disk before its ids are printed; on a\n"
     "terminal a progress line shows on standard error (not with -q), where the summary\n"
     "at the end goes too. An import that fails or is interrupted (Ctrl-C, or a reader of\n"
     "the ids that goes away) says how many rows were written and the line of the last;\n"
     "--from-line N writes only the rows from line N of the file on, to go on from there.\n",
     2, 2, kOptRoot | kOptPut | kOptTrim, cmdImport},
    {"dump", "[TABLE] [--allow-partial]", "every record of one table or of all tables",
     "Without TABLE: a section per table; in CSV each begins with a '# TABLE' line, in JSON\n"
     "the tables are the keys of one object. --format ini writes a description file that\n"
     "'taldb create' reads back into the same database (a backup); it refuses values that\n"
     "would not read back the same. --format sql writes one transaction of CREATE TABLE\n"
     "and INSERT statements that psql and sqlite3 load unchanged (integer, bigint and text\n"
     "columns); a name the two would not take back the same fails the dump and writes\n"
     "nothing; each value that does not fit its column's type or text that is not UTF-8\n"
     "is named, its record left out, and the dump ends with ROLLBACK (with --allow-partial:\n"
     "COMMIT), so that loading it changes nothing.\n"
     "In JSON, values of int and bigint columns that fit their type are numbers, all other\n"
     "values strings, bytes that are not UTF-8 each U+FFFD.\n"
     "A dump is whole or fails: every entry of a table directory that is not a record it\n"
     "can copy (an unreadable or short record file, one holding a value longer than 2047\n"
     "bytes or more than the store reads, a marked or .tmp name, a directory, a symbolic\n"
     "link, which is never followed, a table directory without a schema file) is named on\n"
     "standard error, and once the rest is written the dump exits with status 1.\n"
     "Records are written as they are read, in id order.\n"
     "--allow-partial takes such a partial dump deliberately: the entries are still named,\n"
     "and the exit status is 0.\n",
     0, 1, kOptRoot | kOptFormat | kOptDumpFormats | kOptPartial, cmdExport},
    {"backup", "FILE|- [--allow-partial]", "write the whole database into one backup file",
     "Every table's schema line and every record, each value exactly as its record file\n"
     "holds it (commas, blanks at either end, an empty last value, '{{$talid}}', bytes that\n"
     "are not UTF-8), into FILE, or to standard output with '-'. The file is text, one line\n"
     "per table and per record; see taldb(1) for its format. Entries that no backup can\n"
     "carry are named as for 'dump'; then the backup fails with status 1 and FILE is not\n"
     "written. With --allow-partial it is written all the same, its last line saying how\n"
     "many entries it left out, and 'restore' takes it only with --allow-partial too.\n"
     "A regular FILE (or the file a symbolic link leads to, the link staying) is written\n"
     "whole and flushed under a temporary name, then renamed into place; a FIFO or a\n"
     "character device is written in place, never replaced; anything else is refused.\n"
     "Ctrl-C leaves no partial file; the summary comes only once FILE is written.\n",
     1, 1, kOptRoot | kOptPartial, cmdBackup},
    {"restore", "FILE|- [--allow-partial]", "make the database of a backup file under a new root",
     "The root (--root, --config or TALDB_ROOT) must not hold a database yet, unless a\n"
     "restore of the same backup stopped there (see below). The whole file\n"
     "is read and checked first (its header, every line, every value, the counts on its\n"
     "last line), and a problem is named with its line before anything is written. Then\n"
     "the tables are made and the records written, every value as the backup holds it.\n"
     "A backup that says it left entries out is restored only with --allow-partial.\n"
     "FILE may be '-', a pipe, a process substitution or a FIFO: it is read once, kept in\n"
     "a temporary file. On a terminal a progress line shows on standard error (not with\n"
     "-q). A restore that fails or is interrupted says how far it got; while it writes,\n"
     "the file taldb-restore-under-way in the root names the backup, and the same restore\n"
     "run again goes on where it stopped. 'taldb drop --yes' starts over instead.\n",
     1, 1, kOptRoot | kOptPartial, cmdRestore},
    {"demo", "[DIR] [--description FILE]", "show the whole system on a fresh database",
     "Creates a database from the example description file in a new temporary directory\n"
     "(or in DIR, which must not hold a database), shows its tables and records, then adds,\n"
     "updates and deletes a record and recovers a leftover, printing each step.\n",
     0, 1, kOptDescription, cmdDemo},
};

const Command* findCommand(const std::string& name) {
  for (const Command& command : kCommands)
    if (name == command.name) return &command;
  return nullptr;
}

void printToolHelp(std::ostream& out) {
  out << "Usage: taldb [--root DIR | --config FILE] [-v | -q] COMMAND [ARGS...]\n"
         "       taldb COMMAND --help\n\n"
         "Create, inspect, change, check and repair a TalDB database.\n\nCommands:\n";
  for (const Command& command : kCommands)
    out << "  " << command.name << std::string(12 - std::strlen(command.name), ' ')
        << command.summary << "\n";
  out << "\nOptions:\n"
         "  --root DIR      the database root (default: $TALDB_ROOT)\n"
         "  --config FILE   take the root from the StorageDatabase entry of a host's\n"
         "                  configuration file\n"
         "  --format F      table (default), csv or json, for commands that print rows;\n"
         "                  dump also takes ini (a backup) and sql\n"
         "  --no-header     rows without the header line of table and csv\n"
         "  --trim          add, put, update, import: store values without the blanks at\n"
         "                  their ends, which the store drops, rather than refuse them\n"
         "  --allow-partial dump, backup, restore: go on when entries are left out\n"
         "                  (still named on standard error) and exit with 0\n"
         "  -q, --quiet     print nothing on success but the data asked for\n"
         "  -v, --verbose   pass the library's log lines to standard error\n"
         "  -h, --help      this text, or a command's own with COMMAND --help\n"
         "  -V, --version   the tool's version\n\n"
         "Exit status: 0 success, 1 failure (the library's status and message on standard\n"
         "error), 2 usage error, 3 a record was written (the message says under which id)\n"
         "but standard output could not be written. Try 'taldb demo' for a tour.\n";
}

void printCommandHelp(std::ostream& out, const Command& command) {
  out << "Usage: taldb " << ((command.options & kOptRoot) ? "[--root DIR] " : "") << command.name
      << (*command.usage ? " " : "") << command.usage << "\n\n"
      << static_cast<char>(std::toupper(static_cast<unsigned char>(command.summary[0])))
      << (command.summary + 1) << ".\n"
      << (*command.details ? "\n" : "") << command.details;
  if (command.options & kOptFormat) {
    out << "\n--format table|csv|json" << ((command.options & kOptDumpFormats) ? "|ini|sql" : "")
        << " chooses the output; --no-header leaves out the header\nline of table and csv.\n";
  }
}

// Every option: its names, where it goes (a text field for an option that
// takes a value, a flag otherwise) and the bit that says it was given (0 for
// the options every command takes).
struct OptionSpec {
  const char* shortName;  // null when there is none
  const char* name;
  std::string Options::*text;
  bool Options::*flag;
  unsigned bit;
};

const OptionSpec kOptionSpecs[] = {
    {nullptr, "--root", &Options::root, nullptr, kOptRoot},
    {nullptr, "--config", &Options::config, nullptr, kOptRoot},
    {nullptr, "--format", &Options::formatName, nullptr, kOptFormat},
    {nullptr, "--id", &Options::id, nullptr, kOptCreate},
    {nullptr, "--host", &Options::host, nullptr, kOptCreate},
    {nullptr, "--description", &Options::description, nullptr, kOptDescription},
    {"-v", "--verbose", nullptr, &Options::verbose, 0},
    {"-q", "--quiet", nullptr, &Options::quiet, 0},
    {"-h", "--help", nullptr, &Options::help, 0},
    {"-V", "--version", nullptr, &Options::version, 0},
    {nullptr, "--no-header", nullptr, &Options::noHeader, kOptNoHeader},
    {nullptr, "--yes", nullptr, &Options::yes, kOptYes},
    {nullptr, "--dry-run", nullptr, &Options::dryRun, kOptDryRun},
    {nullptr, "--put", nullptr, &Options::put, kOptPut},
    {nullptr, "--from-line", &Options::fromLine, nullptr, kOptPut},
    {nullptr, "--batch-check", nullptr, &Options::batchCheck, kOptPut},
    {nullptr, "--allow-partial", nullptr, &Options::allowPartial, kOptPartial},
    {nullptr, "--trim", nullptr, &Options::trim, kOptTrim},
};

// Takes the option argv[index], with its value from "--name VALUE" (index
// then moves past the value) or "--name=VALUE". False for an unknown option.
bool takeOption(const std::vector<std::string>& argv, size_t& index, Options& options) {
  const std::string& arg = argv[index];
  for (const OptionSpec& spec : kOptionSpecs) {
    std::string name = spec.name;
    bool named = arg == name || (spec.shortName != nullptr && arg == spec.shortName);
    if (spec.text == nullptr && named) {
      options.*spec.flag = true;
    } else if (spec.text != nullptr && arg.compare(0, name.size() + 1, name + "=") == 0) {
      options.*spec.text = arg.substr(name.size() + 1);
    } else if (spec.text != nullptr && named) {
      if (index + 1 >= argv.size()) throw UsageError("option " + name + " needs a value");
      options.*spec.text = argv[++index];
    } else {
      continue;
    }
    options.given |= spec.bit;
    return true;
  }
  return false;
}

// Options may stand before or after the command; "--" ends them, and a
// negative number is an argument, not an option.
Options parseCommandLine(const std::vector<std::string>& argv) {
  Options options;
  std::vector<std::string> positional;
  bool optionsEnded = false;
  for (size_t i = 0; i < argv.size(); ++i) {
    const std::string& arg = argv[i];
    bool option = !optionsEnded && arg.size() > 1 && arg[0] == '-' &&
                  !std::isdigit(static_cast<unsigned char>(arg[1]));
    if (!option) {
      positional.push_back(arg);
    } else if (arg == "--") {
      optionsEnded = true;
    } else if (!takeOption(argv, i, options)) {
      throw UsageError("unknown option " + quoted(arg));
    }
  }
  if ((options.given & kOptFormat) && !parseFormat(options.formatName, options.format))
    throw UsageError("unknown format " + quoted(options.formatName) +
                     ": use table, csv or json (dump also takes ini and sql)");
  if (!options.root.empty() && !options.config.empty())
    throw UsageError("give either --root or --config, not both");
  if (!positional.empty()) {
    options.command = positional.front();
    options.args.assign(positional.begin() + 1, positional.end());
  }
  return options;
}

// How a usage error names the options of each OptionBit, in bit order.
const char* const kOptionNames[] = {"--root or --config", "--format",      "--yes",
                                    "--id or --host",     "--description", "--dry-run",
                                    "--no-header",        "--put",         "--format ini or sql",
                                    "--allow-partial",    "--trim"};

void checkUsage(const Command& command, const Options& options) {
  // Whatever prints rows can print them without their header.
  unsigned taken = command.options | ((command.options & kOptFormat) ? unsigned{kOptNoHeader} : 0u);
  for (unsigned i = 0; i < sizeof kOptionNames / sizeof kOptionNames[0]; ++i) {
    unsigned bit = 1u << i;
    if ((options.given & bit) && !(taken & bit))
      throw UsageError(std::string(command.name) + " does not take " + kOptionNames[i]);
  }
  bool dumpFormat = options.format == Format::Ini || options.format == Format::Sql;
  if (dumpFormat && !(command.options & kOptDumpFormats)) {
    throw UsageError(std::string(command.name) + " does not take --format " + options.formatName +
                     ": use table, csv or json");
  }
  size_t count = options.args.size();
  if (count < command.minArgs) throw UsageError(std::string(command.name) + ": missing argument");
  if (count > command.maxArgs) throw UsageError(std::string(command.name) + ": too many arguments");
}

// Parses and runs one command line. hint is set to the help to point at
// after a usage error, once the command is known.
int run(const std::vector<std::string>& argv, std::ostream& out, std::ostream& err,
        std::istream& in, std::string& hint, std::string& written) {
  Options options = parseCommandLine(argv);
  if (options.version) {
    out << "taldb " << TALDB_VERSION << "\n";
    return kExitOk;
  }
  if (options.command.empty() || options.command == "help") {
    const Command* command = options.args.empty() ? nullptr : findCommand(options.args[0]);
    if (command != nullptr)
      printCommandHelp(out, *command);
    else if (options.help || options.command == "help")
      printToolHelp(out);
    else
      throw UsageError("no command given");
    return kExitOk;
  }
  const Command* command = findCommand(options.command);
  if (command == nullptr) throw UsageError("unknown command " + quoted(options.command));
  hint = "taldb " + options.command + " --help";
  if (options.help) {
    printCommandHelp(out, *command);
    return kExitOk;
  }
  checkUsage(*command, options);
  Context ctx(options, out, err, in);
  int status = command->run(ctx);
  written = ctx.written();
  return status;
}

// Output that could not be written (a full disk) makes the run a failure
// with a message. A reader that closed the pipe early (EPIPE: "| head") has
// had what it wanted; the run still fails, quietly. A record written all the
// same is said to be written, whatever stopped the output, with a status of
// its own, so that nobody writes it a second time thinking it failed.
int checkWritten(std::ostream& out, std::ostream& err, int status, const std::string& written) {
  errno = 0;
  if (out.flush()) return status;
  int error = errno;
  if (status == kExitOk && !written.empty()) {
    err << "taldb: " << written << ", but standard output could not be written"
        << (error != 0 ? std::string(": ") + std::strerror(error) : std::string()) << "\n";
    return kExitUnprinted;
  }
  errno = error;
  if (errno != EPIPE) {
    err << "taldb: cannot write the output"
        << (errno != 0 ? std::string(": ") + std::strerror(errno) : std::string()) << "\n";
  }
  return kExitFailed;
}

}  // namespace

int RunTool(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
            std::istream* in) {
  // What was printed comes before the message that ends the run.
  std::string hint = "taldb --help", written;
  int status;
  try {
    status = run(args, out, err, in != nullptr ? *in : std::cin, hint, written);
  } catch (const UsageError& error) {
    out.flush();
    err << "taldb: " << error.what() << "\nTry '" << hint << "'.\n";
    status = kExitUsage;
  } catch (const std::exception& error) {
    out.flush();
    err << "taldb: " << error.what() << "\n";
    status = kExitFailed;
  }
  return checkWritten(out, err, status, written);
}

}  // namespace taldb_cli
