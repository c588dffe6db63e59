#include "output/OutputFile.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "base/Errors.h"
#include "base/Text.h"
#include "input/ColumnRules.h"
#include "output/Rows.h"

namespace taldb_cli {

namespace {

// What a file that is none of those written is, for the refusal.
std::string unwritableKind(mode_t mode) {
  if (S_ISDIR(mode)) return "a directory";
  if (S_ISBLK(mode)) return "a block device: never written over";
  if (S_ISSOCK(mode)) return "a socket";
  return "neither a regular file, a FIFO nor a character device";
}

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

OutputFile::OutputFile(const std::string& command, const std::string& file,
                       std::ostream& standardOutput)
    : command_(command), file_(file), target_(file) {
  if (file == "-") {
    stream_ = &standardOutput;
    return;
  }
  struct stat st, out;
  if (stat(file.c_str(), &st) != 0) {
    int error = errno;
    char target[PATH_MAX];
    ssize_t length = readlink(file.c_str(), target, sizeof target - 1);
    if (error == ENOENT && length >= 0) {
      target[length] = '\0';
      throw Failure(command_ + ": " + file + " is a symbolic link to " + target +
                    ", which does not exist: give the name of the file itself");
    }
    if (error != ENOENT) fail(file, error);
  } else if (standardOutput.rdbuf() == std::cout.rdbuf() && fstat(STDOUT_FILENO, &out) == 0 &&
             sameFile(st, out)) {
    // /dev/stdout and the like: what the shell opened, as it opened it (it
    // may append), rather than a new file under its name.
    stream_ = &standardOutput;
    return;
  } else if (S_ISREG(st.st_mode)) {
    // A symbolic link stays: the file it leads to is replaced, beside itself.
    char* real = realpath(file.c_str(), nullptr);
    if (real == nullptr) fail(file, errno);
    target_ = real;
    free(real);
    if (access(target_.c_str(), W_OK) != 0) fail(file, errno);
    keepMode_ = true;
    mode_ = st.st_mode & 07777;
  } else if (S_ISFIFO(st.st_mode) || S_ISCHR(st.st_mode)) {
    // A FIFO waits here for its reader; a stop ends the wait.
    do {
      fd_ = open(file.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
      if (fd_ < 0 && errno == EINTR) checkStopped();
    } while (fd_ < 0 && errno == EINTR);
    if (fd_ < 0) fail(file, errno);
    inPlace_ = true;
    return;
  } else {
    throw Failure(command_ + ": " + file + " is " + unwritableKind(st.st_mode) + "; " + command_ +
                  " writes a regular file, a FIFO, a character device or standard output ('-')");
  }
  temporary_ = target_ + ".partial-XXXXXX";
  fd_ = mkstemp(&temporary_[0]);
  if (fd_ < 0) {
    temporary_.clear();
    fail(file, errno);
  }
  StopSignals::removeAtOnce(temporary_.c_str());
  if (keepMode_ && fchmod(fd_, mode_) != 0) fail(temporary_, errno);
}

OutputFile::~OutputFile() {
  StopSignals::removeAtOnce(nullptr);
  if (fd_ >= 0) close(fd_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::write(const std::string& text) {
  checkStopped();
  if (stream_ != nullptr) {
    // Said when it happens, while errno still tells why.
    errno = 0;
    if (!(*stream_ << text)) fail("standard output", errno);
    return;
  }
  buffer_ += text;
  if (buffer_.size() >= (1u << 16)) drain();
}

void OutputFile::commit() {
  checkStopped();
  if (stream_ != nullptr) {
    errno = 0;
    if (!stream_->flush()) fail("standard output", errno);
    struct stat st;
    // Standard output on a regular file is flushed to the disk as well.
    if (stream_->rdbuf() == std::cout.rdbuf() && fstat(STDOUT_FILENO, &st) == 0 &&
        S_ISREG(st.st_mode) && fsync(STDOUT_FILENO) != 0)
      fail("standard output", errno);
    return;
  }
  drain();
  if (!inPlace_ && fsync(fd_) != 0) fail(temporary_, errno);
  int closed = close(fd_);
  fd_ = -1;
  if (closed != 0) fail(inPlace_ ? file_ : temporary_, errno);
  if (inPlace_) return;
  place();
}

// The temporary file renamed over the target, then the directory flushed, so
// that the new name outlives a power cut.
void OutputFile::place() {
  checkStopped();
  struct stat st;
  if (lstat(target_.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
    throw Failure(command_ + ": " + target_ + " became " + unwritableKind(st.st_mode) +
                  " while it was written; it is left as it is, and no " + command_ +
                  " was written to " + file_);
  }
  if (rename(temporary_.c_str(), target_.c_str()) != 0) {
    int error = errno;
    checkStopped();
    throw Failure(command_ + ": cannot rename " + temporary_ + " to " + target_ + ": " +
                  std::strerror(error) + "; no " + command_ + " was written to " + file_);
  }
  StopSignals::removeAtOnce(nullptr);
  temporary_.clear();
  size_t slash = target_.rfind('/');
  std::string directory = slash == std::string::npos ? "." : target_.substr(0, slash + 1);
  int dir = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int synced = dir < 0 ? -1 : fsync(dir), error = errno;
  if (dir >= 0) close(dir);
  // Some file systems do not flush a directory (EINVAL): the rename is all
  // they offer.
  if (synced != 0 && error != EINVAL) {
    throw Failure(command_ + ": " + file_ + " is written, but its directory " + directory +
                  " could not be flushed: " + std::strerror(error) +
                  "; it may not outlive a power cut");
  }
}

void OutputFile::drain() {
  for (size_t done = 0; done < buffer_.size();) {
    ssize_t wrote = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
    if (wrote < 0 && errno == EINTR) {
      checkStopped();
      continue;
    }
    if (wrote <= 0) fail(inPlace_ ? file_ : temporary_, wrote < 0 ? errno : EIO);
    done += static_cast<size_t>(wrote);
  }
  buffer_.clear();
}

void OutputFile::checkStopped() {
  if (StopSignals::caught() == 0) return;
  std::string left;
  if (!inPlace_ && stream_ == nullptr)
    left = "no " + command_ + " was written to " + file_;
  else
    left = (stream_ != nullptr ? std::string("standard output") : file_) + " received a " +
           command_ + " cut short, without its last line";
  throw Failure(command_ + ": " + StopSignals::describe() + "; " + left);
}

void OutputFile::fail(const std::string& path, int error) {
  std::string message = command_ + ": cannot write " + path +
                        (error != 0 ? ": " + std::string(std::strerror(error)) : std::string());
  if (!temporary_.empty())
    message += "; no " + command_ + " was written to " + file_;
  else if (inPlace_ || stream_ != nullptr)
    message += "; what it received is not a whole " + command_;
  else if (keepMode_)
    message += "; it is left as it was";
  throw Failure(message);
}

}  // namespace taldb_cli
