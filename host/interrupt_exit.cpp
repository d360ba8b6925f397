#include "host/interrupt_exit.hpp"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace zentrova::monitoring_modules::host {

interrupt_exit::interrupt_exit(std::function<void()> cleanup)
    : watcher_([this, cleanup = std::move(cleanup)] {
          constexpr auto poll = std::chrono::milliseconds(50);  // how long the end may wait
          while (!done_) {
              if (stops_.wait(poll)) {
                  cleanup();
                  std::_Exit(std::strcmp(stops_.name(), "SIGTERM") == 0 ? 143 : 130);
              }
          }
      }) {}

interrupt_exit::~interrupt_exit() {
    done_ = true;
    watcher_.join();
}

}  // namespace zentrova::monitoring_modules::host
