// Shared pieces of the lumora command line.
#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>
#include <vector>

#include <lumora/lumora.h>

namespace lumora::cli {

// A failure the command line reports as "lumora: <what()>" with a non-zero
// exit status. what() is "<file>: <reason>" for file problems and
// "<option>: <reason>" for bad arguments.
class CliError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    CliError(const std::string& subject, const std::string& reason) : std::runtime_error(subject + ": " + reason) {}
};

// Image files in any format the io library reads (PNG, PGM, PPM, BMP) and
// writes (by extension: .png, .pgm, .ppm, .pnm, .bmp). Float images are
// written as 8-bit; a BMP file converts what it cannot hold as the library's
// DIB export does and says so on standard error.
CVxImage LoadImageFile(const std::string& path);
void SaveImageFile(const std::string& path, CVxImage& image);

// NumPy (.npy) and PFM files hold CMYK and float colour-space samples
// without their colour model: `model` names it ("cmyk", "hsi", "hls", "hsv",
// "ycbcr"; empty for other files). Reading such a file without it is an
// error that names the --model option.
CVxImage LoadImageFile(const std::string& path, const std::string& model);
void AddModelOption(CLI::App* app, std::string& model);

// "l,t,r,b" (integers, spaces allowed) as a rectangle; CliError otherwise.
CRect ParseRect(const std::string& text);

// The rectangle text given by --rect l,t,r,b; "-1,-1,-1,-1" (the whole
// image) when the option is absent. Read it with ParseRect.
void AddRectOption(CLI::App* app, std::string& text);

// Collects the demo's output images in one folder and one summary line each.
class DemoSink {
public:
    explicit DemoSink(std::string dir);

    // Writes <dir>/<name>.png (.npy for CMYK and float colour-space images)
    // and records "<file>  <description>".
    void Save(const std::string& name, CVxImage& image, const std::string& description);
    // Records a line for an operation that produced no image (a refusal, a number).
    void Note(const std::string& text);

    const std::string& Dir() const { return dir_; }
    int ImageCount() const { return images_; }
    const std::vector<std::string>& Lines() const { return lines_; }

private:
    std::string dir_;
    int images_ = 0;
    std::vector<std::string> lines_;
};

// Display names of a model's channels in memory order ("blue", "green", ...).
std::string ChannelName(const CVxImage& image, int channel);
std::string ModelName(COLOR_MODEL model);

}  // namespace lumora::cli
