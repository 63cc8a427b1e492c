#pragma once
// The quillon command line: each command registers itself on the application and runs when
// chosen. Bad input ends in CommandError, which main turns into one line and status 1.

#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace quillon_cli {

struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void AddTreeCommand(CLI::App& app);

} // namespace quillon_cli
