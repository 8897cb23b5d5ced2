// Subcommand groups of the lumora command line.
//
// Each group lives in tools/cmd_<group>.cpp and offers two functions:
//   Register<Group>Commands(app)  adds its subcommands (called from main.cpp);
//   Demo<Group>(scene, sink)      runs its operations on a copy of the 8-bit
//                                 RGB sample scene and saves the results
//                                 (called from demo.cpp).
#pragma once

#include <CLI/CLI.hpp>

#include "tools/cli.h"

namespace lumora::cli {

void RegisterCoreCommands(CLI::App& app);
void DemoCore(CVxImage& scene, DemoSink& sink);

void RegisterPointCommands(CLI::App& app);
void DemoPoint(CVxImage& scene, DemoSink& sink);
void RegisterNeighbourhoodCommands(CLI::App& app);
void DemoNeighbourhood(CVxImage& scene, DemoSink& sink);
void RegisterMorphologyCommands(CLI::App& app);
void DemoMorphology(CVxImage& scene, DemoSink& sink);
void RegisterColourCommands(CLI::App& app);
void DemoColour(CVxImage& scene, DemoSink& sink);
void RegisterGeometryCommands(CLI::App& app);
void DemoGeometry(CVxImage& scene, DemoSink& sink);
void RegisterAnalysisCommands(CLI::App& app);
void DemoAnalysis(CVxImage& scene, DemoSink& sink);
void RegisterSeriesCommands(CLI::App& app);
void DemoSeries(CVxImage& scene, DemoSink& sink);
void RegisterExchangeCommands(CLI::App& app);
void DemoExchange(CVxImage& scene, DemoSink& sink);
// `lumora convert IN OUT` without --to: the same image in another file format.
void ConvertFileFormat(const std::string& in, const std::string& out);

// The demo subcommand and its sample scene: 8-bit RGB, the same every run.
void RegisterDemoCommand(CLI::App& app);
CVxImage MakeDemoScene(int width = 640, int height = 480);

}  // namespace lumora::cli
