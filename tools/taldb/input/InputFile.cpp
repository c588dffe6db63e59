#include "input/InputFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "base/Errors.h"
#include "base/StopSignals.h"
#include "base/TemporaryFile.h"
#include "base/Text.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"

namespace taldb_cli {

InputFile::InputFile(const std::string& command, const std::string& file, std::istream& in,
                     bool again)
    : command_(command), source_(file == "-" ? std::string("standard input") : file) {
  try {
    if (file == "-") {
      if (again)
        keep(-1, &in);
      else
        once_ = &in;
      return;
    }
    // A FIFO waits here for its writer; a stop ends the wait.
    int fd;
    do {
      fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR && StopSignals::caught() == 0);
    if (fd < 0 && StopSignals::caught() != 0)
      throw Failure(command_ + ": " + StopSignals::describe() + " while waiting for " + file);
    if (fd < 0) fail("cannot read " + file, errno);
    struct stat st;
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
      int error = S_ISDIR(st.st_mode) ? EISDIR : errno;
      close(fd);
      fail("cannot read " + file, error);
    }
    if (S_ISREG(st.st_mode) || !again) {
      // Read again through the descriptor, so that every reading reads the
      // same file even if another takes its name meanwhile.
      fd_ = fd;
      path_ = "/dev/fd/" + std::to_string(fd);
      return;
    }
    keep(fd, nullptr);
    close(fd);
  } catch (...) {
    if (!spooled_.empty()) unlink(spooled_.c_str());
    throw;
  }
}

InputFile::~InputFile() {
  if (!spooled_.empty()) unlink(spooled_.c_str());
  if (fd_ >= 0) close(fd_);
}

std::istream& InputFile::rewind() {
  if (once_ != nullptr) return *once_;
  stream_.reset(new std::ifstream(path_, std::ios::binary));
  if (!*stream_) fail("cannot read " + (spooled_.empty() ? source_ : spooled_), errno);
  return *stream_;
}

// Copies the input into a new temporary file, from fd or else from in.
void InputFile::keep(int fd, std::istream* in) {
  spooled_ = temporaryPattern("input");
  int copy = mkstemp(&spooled_[0]);
  if (copy < 0) {
    int error = errno;
    std::string pattern = spooled_;
    spooled_.clear();
    fail("cannot keep " + source_ + " in a temporary file " + pattern, error);
  }
  path_ = spooled_;
  char buffer[1 << 16];
  int error = 0;
  bool reading = true;
  while (reading && error == 0) {
    ssize_t got;
    if (in != nullptr) {
      in->read(buffer, sizeof buffer);
      got = in->gcount();
      reading = static_cast<bool>(*in);
      if (in->bad()) got = -1;
    } else {
      got = read(fd, buffer, sizeof buffer);
      if (got < 0 && errno == EINTR && StopSignals::caught() == 0) continue;
      reading = got > 0;
    }
    if (StopSignals::caught() != 0) {
      close(copy);
      throw Failure(command_ + ": " + StopSignals::describe() + " while reading " + source_);
    }
    if (got < 0) {
      error = errno != 0 ? errno : EIO;
      close(copy);
      fail("cannot read " + source_, error);
    }
    for (ssize_t done = 0; done < got;) {
      ssize_t wrote = write(copy, buffer + done, static_cast<size_t>(got - done));
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) {
        error = wrote < 0 ? errno : EIO;
        break;
      }
      done += wrote;
    }
  }
  if (close(copy) != 0 && error == 0) error = errno;
  if (error != 0) fail("cannot keep " + source_ + " in a temporary file " + spooled_, error);
}

void InputFile::fail(const std::string& what, int error) {
  throw Failure(command_ + ": " + what + ": " + std::strerror(error));
}

}  // namespace taldb_cli
