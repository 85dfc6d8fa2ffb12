#include "Velmora/cli/Cli.h"

int main(int argc, char** argv) {
    return velmora::cli::run(argc, argv);
}
