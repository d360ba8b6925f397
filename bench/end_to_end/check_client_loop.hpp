#pragma once

#include <functional>

namespace zentrova::monitoring_modules::bench {

// The side of a client process that end_to_end_bench talks to: the module, bare libcurl and the
// SDK's script each run one sensor's check in a process of their own and answer the same lines
// on stdin and stdout:
//
//   after a first check:  "ready", or "error <text>" when it failed
//   in:  "check N"        out: "done <process CPU us> <failed> <max RSS KiB> <latency us> ..."
//   in:  "quit" or end of input: the loop returns
//
// `check` runs one check and answers whether it succeeded. Returns the process's exit code.
int run_check_client(const std::function<bool()>& check);

}  // namespace zentrova::monitoring_modules::bench
