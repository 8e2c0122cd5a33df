// Runs a check in a child process, for cases that open the desktop: its
// libraries keep memory the leak checker would report.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace tessel::testing {

// What check returns (0 to 255), worked out in a child process; -1 when
// the child did not exit normally.
template <class Check>
int in_child(Check check) {
  const pid_t child = fork();
  if (child == 0) _exit(check());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace tessel::testing
