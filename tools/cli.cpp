#include "tools/cli.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "io/image_file.h"

namespace lumora::cli {

CVxImage LoadImageFile(const std::string& path) {
    CVxImage image;
    try {
        io::ReadImage(path, image);
    } catch (const io::ImageFileError& e) {
        throw CliError(e.what());
    }
    return image;
}

CVxImage LoadImageFile(const std::string& path, const std::string& model) {
    static const struct {
        const char* name;
        COLOR_MODEL model;
    } kModels[] = {{"cmyk", CM_CMYK}, {"hsi", CM_HSI}, {"hls", CM_HLS}, {"hsv", CM_HSV}, {"ycbcr", CM_YCbCr}};
    io::ReadOptions options;
    for (const auto& entry : kModels)
        if (model == entry.name) options.model = entry.model;
    CVxImage image;
    try {
        io::ReadImage(path, image, options);
    } catch (const io::ModelNotRecordedError& e) {
        throw CliError(std::string(e.what()) + "; name it with --model cmyk|hsi|hls|hsv|ycbcr");
    } catch (const io::ImageFileError& e) {
        throw CliError(e.what());
    }
    return image;
}

void AddModelOption(CLI::App* app, std::string& model) {
    app->add_option("--model", model, "Colour model of a .npy or .pfm input, which does not record it")
        ->check(CLI::IsMember({"cmyk", "hsi", "hls", "hsv", "ycbcr"}));
}

void SaveImageFile(const std::string& path, CVxImage& image) {
    try {
        io::WriteImage(path, image);
        // A BMP file holds what the exchange block holds; say when that is
        // not the image's own layout.
        const std::string ext = std::filesystem::path(path).extension().string();
        if ((ext == ".bmp" || ext == ".BMP") && !io::BmpConversionNote(image).empty())
            std::cerr << "lumora: " << path << ": " << io::BmpConversionNote(image) << '\n';
    } catch (const io::ImageFileError& e) {
        throw CliError(e.what());
    }
}

CRect ParseRect(const std::string& text) {
    long values[4];
    const char* p = text.c_str();
    for (int i = 0; i < 4; ++i) {
        while (*p == ' ') ++p;
        char* end = nullptr;
        errno = 0;
        values[i] = std::strtol(p, &end, 10);
        if (end == p || errno == ERANGE || values[i] < INT_MIN || values[i] > INT_MAX)
            throw CliError("--rect", "expected four integers l,t,r,b, got '" + text + "'");
        p = end;
        while (*p == ' ') ++p;
        if (i < 3 && *p++ != ',') throw CliError("--rect", "expected four integers l,t,r,b, got '" + text + "'");
    }
    if (*p != '\0') throw CliError("--rect", "expected four integers l,t,r,b, got '" + text + "'");
    return CRect(static_cast<LONG>(values[0]), static_cast<LONG>(values[1]), static_cast<LONG>(values[2]),
                 static_cast<LONG>(values[3]));
}

void AddRectOption(CLI::App* app, std::string& text) {
    text = "-1,-1,-1,-1";
    app->add_option("--rect", text,
                    "Region l,t,r,b with right and bottom inclusive; -1,-1,-1,-1 is the whole image")
        ->capture_default_str();
}

DemoSink::DemoSink(std::string dir) : dir_(std::move(dir)) {
    std::error_code error;
    std::filesystem::create_directories(dir_, error);
    if (error) throw CliError(dir_, error.message());
}

void DemoSink::Save(const std::string& name, CVxImage& image, const std::string& description) {
    const COLOR_MODEL m = image.m_ColorModel;
    const bool sampleArray = m == CM_CMYK || m == CM_HSI || m == CM_HLS || m == CM_HSV || m == CM_YCbCr;
    const std::string file = name + (sampleArray ? ".npy" : ".png");
    SaveImageFile((std::filesystem::path(dir_) / file).string(), image);
    ++images_;
    lines_.push_back(file + "  " + description);
}

void DemoSink::Note(const std::string& text) { lines_.push_back(text); }

std::string ModelName(COLOR_MODEL model) {
    switch (model) {
        case CM_BITMAP: return "Bitmap";
        case CM_GRAY: return "Gray";
        case CM_LOGL: return "LOGL";
        case CM_INDEX: return "Index";
        case CM_GRAYA: return "GrayA";
        case CM_RGB: return "RGB";
        case CM_RGBA: return "RGBA";
        case CM_CMYK: return "CMYK";
        case CM_HSI: return "HSI";
        case CM_HSV: return "HSV";
        case CM_HLS: return "HLS";
        case CM_XYZ: return "XYZ";
        case CM_YUV: return "YUV";
        case CM_YIQ: return "YIQ";
        case CM_YCbCr: return "YCbCr";
        case CM_LUV: return "LUV";
        case CM_Lab: return "Lab";
        case CM_LOGLUV: return "LOGLUV";
    }
    return "unknown";
}

std::string ChannelName(const CVxImage& image, int channel) {
    static const char* const kBgra[] = {"blue", "green", "red", "alpha"};
    switch (image.m_ColorModel) {
        case CM_RGB:
        case CM_RGBA:
            return kBgra[channel & 3];
        case CM_GRAYA:
            return channel == 0 ? "grey" : "alpha";
        case CM_GRAY:
            return "grey";
        case CM_INDEX:
            return "index";
        default:
            return "channel " + std::to_string(channel);
    }
}

}  // namespace lumora::cli
