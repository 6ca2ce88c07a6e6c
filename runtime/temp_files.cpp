// The registry is a fixed table of paths so that the signal handler only reads memory and calls
// unlink, both safe inside a handler; registration (outside handlers) takes a lock.
#include "host/temp_files.hpp"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>

namespace {

// Enough for the outputs and temporary databases of one run, with room to spare.
constexpr int kSlots = 256;
constexpr size_t kPathLength = 4096;

struct Slot {
  std::atomic<bool> used{false};
  char path[kPathLength];
};

Slot slots[kSlots];
std::mutex registry_mutex;

void RemoveAndExit(int signal_number) {
  for (Slot& slot : slots) {
    if (slot.used.load()) {
      unlink(slot.path);
    }
  }
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

}  // namespace

void RegisterTemporaryFile(const std::string& path) {
  if (path.size() >= kPathLength) {
    return;
  }
  std::lock_guard lock(registry_mutex);
  for (Slot& slot : slots) {
    if (!slot.used.load()) {
      std::memcpy(slot.path, path.c_str(), path.size() + 1);
      slot.used.store(true);
      return;
    }
  }
}

void UnregisterTemporaryFile(const std::string& path) {
  std::lock_guard lock(registry_mutex);
  for (Slot& slot : slots) {
    if (slot.used.load() && path == slot.path) {
      slot.used.store(false);
    }
  }
}

void RemoveTemporaryFilesOnSignal() {
  static std::once_flag installed;
  std::call_once(installed, [] {
    for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
      struct sigaction action {};
      action.sa_handler = &RemoveAndExit;
      sigemptyset(&action.sa_mask);
      sigaction(signal_number, &action, nullptr);
    }
  });
}
