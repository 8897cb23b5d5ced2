// lumora: the command line of the Lumora image-processing library.
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace {

// The library's messages as lines on standard error, "<caption>: <text>",
// also where the library would otherwise open a message box.
int PrintMessage(const char* text, const char* caption, UINT) {
    if (caption && caption[0]) std::cerr << caption << ": ";
    std::cerr << text << std::endl;
    return 1;  // IDOK
}

// Switches the library's messages to "eng" (9) or "kor" (18). The language
// libraries are built and installed beside the Lumora libraries, which is
// where the host keeper's UI folder points by default. A static build has no
// Lumora library of its own, so the lib folder next to the executable's
// folder is tried as well.
void UseLanguage(const std::string& tag) {
    const bool korean = tag == "kor";
    const int code = korean ? 18 : 9;
    const std::string file = korean ? "lumora KOR.DLL" : "lumora ENG.DLL";

    std::vector<std::string> folders;
    char folder[MAX_PATH] = "";
    GetHostInfoKeeper().GetUIPath(folder);
    folders.emplace_back(folder);
    CHostInfoKeeper executable;  // no instance: the running executable
    if (executable.SetDefaultInfo()) {
        executable.GetUIPath(folder);
        folders.push_back(std::string(folder) + "../lib/");
        folders.push_back(std::string(folder) + "../" LUMORA_INSTALL_LIBDIR "/");
    }
    for (const std::string& candidate : folders) {
        std::error_code error;
        if (!std::filesystem::is_regular_file(candidate + file, error)) continue;
        GetHostInfoKeeper().SetUIPath(candidate.c_str());
        GetLumoraManager().UpdateLanguage(code);
        if (GetLumoraManager().GetLanguage() == code) return;
    }
    throw lumora::cli::CliError("--language", "no usable '" + file + "' beside the Lumora libraries (looked in " +
                                                  folders.front() + ")");
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Image processing with the Lumora library", "lumora"};
    app.require_subcommand(1);
    // Options are spelled --name everywhere; on Windows a leading "/" is then
    // free to start a path (as Wine gives the Unix ones).
    app.allow_windows_style_options(false);
    GetLumoraManager().SetMessageHandler(PrintMessage);
    // Option callbacks run once the command line is read and before any
    // subcommand runs, so the language is in place for the operation.
    app.add_option_function<std::string>("--language", UseLanguage,
                                         "Language of the library's messages: eng or kor, loaded from 'lumora ENG.DLL' "
                                         "/ 'lumora KOR.DLL' beside the library. To see the warning: "
                                         "lumora --language kor contrast IN OUT --no-table")
        ->check(CLI::IsMember({"eng", "kor"}));
    lumora::cli::RegisterCoreCommands(app);
    lumora::cli::RegisterPointCommands(app);
    lumora::cli::RegisterNeighbourhoodCommands(app);
    lumora::cli::RegisterMorphologyCommands(app);
    lumora::cli::RegisterColourCommands(app);
    lumora::cli::RegisterGeometryCommands(app);
    lumora::cli::RegisterAnalysisCommands(app);
    lumora::cli::RegisterSeriesCommands(app);
    lumora::cli::RegisterExchangeCommands(app);
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
