// The dispatcher: parses the command line, finds the command in the
// registry, runs it, and turns its errors and output failures into exit
// statuses.
#include "cli/Tool.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Registry.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"

namespace taldb_cli {

namespace {

void printToolHelp(std::ostream& out) {
  out << "Usage: taldb [--root DIR | --config FILE] [-v | -q] COMMAND [ARGS...]\n"
         "       taldb COMMAND --help\n\n"
         "Create, inspect, change, check and repair a TalDB database.\n\nCommands:\n";
  for (const Command* const* it = commandsBegin(); it != commandsEnd(); ++it) {
    const Command& command = **it;
    out << "  " << command.name << std::string(12 - std::strlen(command.name), ' ')
        << command.summary << "\n";
  }
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
