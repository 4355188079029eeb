#pragma once

#include <functional>
#include <string>
#include <vector>

struct Kprc_CaptureRequest {
  std::string program;                 ///< file name in bytes; not looked up along PATH
  std::vector<std::string> arguments;  ///< those behind the program's own name
  /// Called several times a second while the program runs, where it is set. What it raises ends the program with all
  /// that it started, and goes on to the caller.
  std::function<void()> check;
};

/// Runs a program in a process group of its own, with empty standard input, and waits for its end. Gives its exit
/// status, or 128 and the number of the signal that ended it. `output` becomes the bytes that it wrote on standard
/// output and standard error, in the order in which they came. Raises std::system_error where it can't be started.
/// Any thread.
int kprc_ProcessCapture(const Kprc_CaptureRequest& request, std::string& output);
