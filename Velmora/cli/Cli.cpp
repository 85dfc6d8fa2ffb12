#include "Velmora/cli/Cli.h"

namespace velmora::cli {

int run(int, char**) { return 0; }

}  // namespace velmora::cli
