#pragma once
// The `velmora` command. `run` parses the arguments and executes one subcommand; it returns the
// process exit status: 0 success, 1 some item failed, 2 usage error or refused input (nothing
// changed), 130 cancelled.
namespace velmora::cli {

int run(int argc, char** argv);

}  // namespace velmora::cli
