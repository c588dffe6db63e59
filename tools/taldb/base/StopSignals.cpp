#include "base/StopSignals.h"

#include <errno.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

namespace taldb_cli {

namespace {

const int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

volatile sig_atomic_t g_caught = 0;
// Objects alive: one made inside another (a file written during a restore)
// keeps what the outer one caught.
int g_depth = 0;
// Written only while the handlers are not installed or the path is not armed,
// so the handler never reads it half written.
char g_removePath[PATH_MAX];
volatile sig_atomic_t g_removeArmed = 0;

void onSignal(int signal) {
  if (g_caught == 0) g_caught = signal;
  if (g_removeArmed) {
    g_removeArmed = 0;
    int saved = errno;
    unlink(g_removePath);
    errno = saved;
  }
}

}  // namespace

StopSignals::StopSignals(bool pipe) : pipe_(pipe) {
  if (g_depth++ == 0) g_caught = 0;
  g_removeArmed = 0;
  for (int i = 0; i < 4; ++i) {
    if (kSignals[i] == SIGPIPE && !pipe_) continue;
    struct sigaction action = {};
    action.sa_handler = onSignal;
    // Without SA_RESTART a write blocked on a FIFO nobody reads returns, so
    // that the stop is seen at once; a second Ctrl-C ends the process.
    action.sa_flags = kSignals[i] == SIGPIPE ? 0 : SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    sigaction(kSignals[i], &action, &old_[i]);
  }
}

StopSignals::~StopSignals() {
  --g_depth;
  g_removeArmed = 0;
  for (int i = 0; i < 4; ++i) {
    if (kSignals[i] == SIGPIPE && !pipe_) continue;
    sigaction(kSignals[i], &old_[i], nullptr);
  }
}

int StopSignals::caught() { return g_caught; }

std::string StopSignals::describe() {
  switch (g_caught) {
    case SIGINT:
      return "interrupted";
    case SIGTERM:
      return "stopped by SIGTERM";
    case SIGHUP:
      return "stopped by SIGHUP (the terminal closed)";
    case SIGPIPE:
      return "stopped by SIGPIPE (a reader of its output went away)";
    default:
      return "stopped";
  }
}

void StopSignals::removeAtOnce(const char* path) {
  g_removeArmed = 0;
  if (path == nullptr || strlen(path) >= sizeof g_removePath) return;
  strcpy(g_removePath, path);
  g_removeArmed = 1;
}

}  // namespace taldb_cli
