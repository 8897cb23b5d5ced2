// lumora: the command line of the Lumora image-processing library.
#include <exception>
#include <iostream>

#include "tools/commands.h"

int main(int argc, char** argv) {
    CLI::App app{"Image processing with the Lumora library", "lumora"};
    app.require_subcommand(1);
    lumora::cli::RegisterCoreCommands(app);
    lumora::cli::RegisterNeighbourhoodCommands(app);
    lumora::cli::RegisterMorphologyCommands(app);
    lumora::cli::RegisterDemoCommand(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    } catch (const std::exception& e) {
        std::cerr << "lumora: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
