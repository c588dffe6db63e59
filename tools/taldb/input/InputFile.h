// The input file of a command that reads it more than once (check all of it,
// then write), whatever its name leads to.
#ifndef TALDB_TOOL_INPUT_INPUTFILE_H
#define TALDB_TOOL_INPUT_INPUTFILE_H

#include <istream>
#include <memory>
#include <string>

namespace taldb_cli {

// A command's input file read from its beginning as often as the command
// needs, whatever the name leads to. A regular file is read where it lies;
// "-" (standard input), a pipe, a process substitution's /dev/fd/N, a FIFO or
// a device is read once, as it comes, into a temporary file removed with the
// object, since it cannot be read a second time. Failures name the command and
// carry errno's text; a signal of StopSignals ends the copy.
class InputFile {
 public:
  // in is what "-" reads. Without again the input is read only once, as it
  // comes, and nothing is kept.
  InputFile(const std::string& command, const std::string& file, std::istream& in,
            bool again = true);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Back at the beginning: the stream that reads the input (once only, when
  // it is not to be read again).
  std::istream& rewind();
  // "standard input" or the file's name, for messages.
  const std::string& source() const { return source_; }
  // Whether the input was kept in a temporary file: a rerun must be given the
  // same input again.
  bool kept() const { return !spooled_.empty(); }

 private:
  [[noreturn]] void fail(const std::string& what, int error);
  void keep(int fd, std::istream* in);

  std::string command_, path_, source_, spooled_;
  std::unique_ptr<std::istream> stream_;
  std::istream* once_ = nullptr;  // "-" read as it comes
  int fd_ = -1;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_INPUT_INPUTFILE_H
