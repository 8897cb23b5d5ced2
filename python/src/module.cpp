// The _lumora extension: images as NumPy arrays and every processing class
// with its members as they are declared, for the Python package around it.
//
// Arrays come in through ImageFromArray, the one place that checks them and
// copies their samples into an image (once, row by row). Pixels go out through
// ArrayOfImage, a view of the image's own memory whose base is the Python
// image object, so the array keeps the image alive. Members run with the GIL
// released; they touch no Python object.
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <lumora/lumora.h>

#include "io/image_file.h"

namespace py = pybind11;
using namespace pybind11::literals;

// ---- Windows records as Python tuples -----------------------------------------

namespace lumora::python {

// Geometry records: (x, y), (cx, cy), (left, top, right, bottom).
template <class R, int N>
struct Fields;
template <>
struct Fields<CPoint, 2> {
    static LONG* At(CPoint& r, int i) { return i == 0 ? &r.x : &r.y; }
};
template <>
struct Fields<CSize, 2> {
    static LONG* At(CSize& r, int i) { return i == 0 ? &r.cx : &r.cy; }
};
template <>
struct Fields<CRect, 4> {
    static LONG* At(CRect& r, int i) {
        LONG* f[] = {&r.left, &r.top, &r.right, &r.bottom};
        return f[i];
    }
};

template <class R, int N>
struct GeometryCaster {
    PYBIND11_TYPE_CASTER(R, py::detail::const_name("tuple[int, ...]"));
    bool load(py::handle src, bool) {
        if (!py::isinstance<py::sequence>(src) || py::isinstance<py::str>(src)) return false;
        auto seq = py::reinterpret_borrow<py::sequence>(src);
        if (seq.size() != N) return false;
        for (int i = 0; i < N; ++i) {
            py::handle item = seq[i];
            if (!PyIndex_Check(item.ptr())) return false;
            *Fields<R, N>::At(value, i) = item.cast<LONG>();
        }
        return true;
    }
    static py::handle cast(R r, py::return_value_policy, py::handle) {
        py::tuple t(N);
        for (int i = 0; i < N; ++i) t[i] = py::int_(*Fields<R, N>::At(r, i));
        return t.release();
    }
};

// Pixel records: a tuple of 2 to 4 samples.
template <class R, class T, int N>
struct RecordCaster {
    PYBIND11_TYPE_CASTER(R, py::detail::const_name("tuple"));
    bool load(py::handle src, bool convert) {
        if (!py::isinstance<py::sequence>(src) || py::isinstance<py::str>(src)) return false;
        auto seq = py::reinterpret_borrow<py::sequence>(src);
        if (seq.size() != N) return false;
        for (int i = 0; i < N; ++i) {
            py::detail::make_caster<T> c;
            if (!c.load(seq[i], convert)) return false;
            value.v[i] = py::detail::cast_op<T>(c);
        }
        return true;
    }
    static py::handle cast(R r, py::return_value_policy, py::handle) {
        py::tuple t(N);
        for (int i = 0; i < N; ++i) t[i] = py::cast(r.v[i]);
        return t.release();
    }
};

}  // namespace lumora::python

namespace pybind11::detail {
namespace lp = lumora::python;
template <> struct type_caster<CPoint> : lp::GeometryCaster<CPoint, 2> {};
template <> struct type_caster<CSize> : lp::GeometryCaster<CSize, 2> {};
template <> struct type_caster<CRect> : lp::GeometryCaster<CRect, 4> {};
template <> struct type_caster<tagVXG2> : lp::RecordCaster<tagVXG2, BYTE, 2> {};
template <> struct type_caster<tagVXG3> : lp::RecordCaster<tagVXG3, BYTE, 3> {};
template <> struct type_caster<tagVXG4> : lp::RecordCaster<tagVXG4, BYTE, 4> {};
template <> struct type_caster<tagVXGW2> : lp::RecordCaster<tagVXGW2, WORD, 2> {};
template <> struct type_caster<tagVXGW3> : lp::RecordCaster<tagVXGW3, WORD, 3> {};
template <> struct type_caster<tagVXGW4> : lp::RecordCaster<tagVXGW4, WORD, 4> {};
template <> struct type_caster<tagVXGF2> : lp::RecordCaster<tagVXGF2, float, 2> {};
template <> struct type_caster<tagVXGF3> : lp::RecordCaster<tagVXGF3, float, 3> {};
template <> struct type_caster<tagVXGF4> : lp::RecordCaster<tagVXGF4, float, 4> {};
}  // namespace pybind11::detail

namespace lumora::python {
namespace {

// ---- arguments -------------------------------------------------------------------

// Raised to Python as lumora.LumoraError (a ValueError).
class ArgumentError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// The one argument check: "<argument>: <reason>".
void Require(bool ok, const std::string& argument, const std::string& reason) {
    if (!ok) throw ArgumentError(argument + ": " + reason);
}

const py::call_guard<py::gil_scoped_release> kRelease;
constexpr CRect kWhole(-1, -1, -1, -1);

COLOR_MODEL ModelOfChannels(int channels) {
    constexpr COLOR_MODEL models[] = {CM_GRAY, CM_GRAYA, CM_RGB, CM_RGBA};
    return models[channels - 1];
}

// ---- arrays in and out ---------------------------------------------------------------

// Samples of `array` into a new image. The array is H x W or H x W x C (C 1
// to 4) of uint8, uint16 or float32; each row's samples must be contiguous,
// rows may be padded (the library's own results are). `model` overrides the
// model the channel count implies (grey, grey+alpha, RGB, RGBA) and must have
// as many channels.
std::unique_ptr<CVxImage> ImageFromArray(py::handle object, const std::string& name, int model) {
    // Messages are built only on failure: this runs on every call.
    if (!py::isinstance<py::array>(object))
        Require(false, name, "expected a numpy.ndarray, got " + std::string(py::str(py::type::of(object).attr("__name__"))));
    auto a = py::reinterpret_borrow<py::array>(object);
    int bits = 0;
    switch (a.dtype().num()) {
        case py::detail::npy_api::NPY_UBYTE_: bits = 8; break;
        case py::detail::npy_api::NPY_USHORT_: bits = 16; break;
        case py::detail::npy_api::NPY_FLOAT_: bits = 32; break;
        default: Require(false, name, "dtype " + std::string(py::str(a.dtype())) + " is not supported (uint8, uint16 or float32)");
    }
    if (bits > 8 && !a.dtype().attr("isnative").cast<bool>())
        Require(false, name, "samples must be in the machine's byte order (use .astype(dtype.newbyteorder('=')))");
    if (a.ndim() != 2 && a.ndim() != 3)
        Require(false, name, "expected H x W or H x W x C, got " + std::to_string(a.ndim()) + " dimensions");
    const py::ssize_t height = a.shape(0), width = a.shape(1), channels = a.ndim() == 3 ? a.shape(2) : 1;
    if (channels < 1 || channels > 4)
        Require(false, name, std::to_string(channels) + " channels (1 to 4 are supported)");
    Require(height > 0 && width > 0, name, "the array is empty");
    Require(height <= INT32_MAX && width <= INT32_MAX, name, "the array is too large");
    const py::ssize_t sample = a.itemsize(), rowBytes = width * channels * sample;
    const bool rowsContiguous = (a.ndim() == 2 || a.strides(2) == sample) && a.strides(1) == channels * sample &&
                                (height == 1 || a.strides(0) >= rowBytes);
    Require(rowsContiguous, name,
            "the samples of each row must be contiguous and the rows in order, top first (use numpy.ascontiguousarray)");
    COLOR_MODEL m = model < 0 ? ModelOfChannels(static_cast<int>(channels)) : static_cast<COLOR_MODEL>(model);
    if (CVxImageInfo::GetChannel(m) != channels)
        Require(false, name, "colour model " + std::to_string(m) + " does not have " + std::to_string(channels) + " channels");

    auto image = std::make_unique<CVxImage>();
    image->Create(m, bits, static_cast<int>(width), static_cast<int>(height));
    Require(image->IsCreated() != FALSE, name, "the image store cannot hold an image of this size");
    const auto* from = static_cast<const std::uint8_t*>(a.data());
    const py::ssize_t pitch = a.strides(0);
    auto copy = [&] {
        void** rows = image->Get2DBuffer();
        for (py::ssize_t y = 0; y < height; ++y) std::memcpy(rows[y], from + y * pitch, static_cast<size_t>(rowBytes));
    };
    if (height * rowBytes < (1 << 20)) {
        copy();  // shorter than the cost of handing the GIL over
    } else {
        py::gil_scoped_release release;
        copy();
    }
    return image;
}

// A view of the pixels of the image held by `owner` (a Python Image).
py::array ArrayOfImage(py::handle owner) {
    CVxImage& image = owner.cast<CVxImage&>();
    Require(image.IsCreated() != FALSE, "image", "the image is not created");
    const int bits = image.m_nBitsPerSample, channels = image.m_nChannel;
    if (bits < 1 || bits > 32) Require(false, "image", std::to_string(bits) + " bits per sample have no array type");
    if (channels < 1 || channels > 4) Require(false, "image", std::to_string(channels) + " channels have no array layout");
    const py::dtype dtype = bits <= 8    ? py::dtype::of<std::uint8_t>()
                            : bits <= 16 ? py::dtype::of<std::uint16_t>()
                                         : py::dtype::of<float>();
    const py::ssize_t s = dtype.itemsize();
    std::vector<py::ssize_t> shape{image.m_nHeight, image.m_nWidth}, strides{image.m_nBytesPerLine, channels * s};
    if (channels > 1) {
        shape.push_back(channels);
        strides.push_back(s);
    }
    return py::array(dtype, shape, strides, image.GetBuffer(), owner);
}

// ---- records of the analysis classes -----------------------------------------------------

template <class T>
py::list RecordList(CPtrArray& array) {
    py::list out;
    for (int i = 0; i < array.GetSize(); ++i) out.append(*static_cast<T*>(array[i]));
    return out;
}

py::list ThetaRhoList(CPtrArray& array) {
    py::list out;
    for (int i = 0; i < array.GetSize(); ++i) {
        auto& r = *static_cast<ThetaRhoRecord*>(array[i]);
        py::list rho, p1, p2;
        for (int k = 0; k < r.arrRho.GetSize(); ++k) rho.append(r.arrRho[k]);
        for (int k = 0; k < r.arrPoint1.GetSize(); ++k) p1.append(py::cast(r.arrPoint1[k]));
        for (int k = 0; k < r.arrPoint2.GetSize(); ++k) p2.append(py::cast(r.arrPoint2[k]));
        out.append(py::dict("nTheta"_a = r.nTheta, "arrRho"_a = rho, "arrPoint1"_a = p1, "arrPoint2"_a = p2));
    }
    return out;
}

// Bytes of a DIB block: header, colour table or masks, padded rows.
size_t BlockBytes(const BITMAPINFOHEADER& h) {
    size_t table = 0;
    if (h.biBitCount <= 8) table = 4u * (h.biClrUsed ? h.biClrUsed : 1u << h.biBitCount);
    else if (h.biCompression == 3) table = 12;  // BI_BITFIELDS masks
    const size_t row = ((static_cast<size_t>(h.biWidth < 0 ? -h.biWidth : h.biWidth) * h.biBitCount + 31) / 32) * 4;
    return h.biSize + table + row * static_cast<size_t>(h.biHeight < 0 ? -h.biHeight : h.biHeight);
}

// SetFill's overloads differ only in the value's C type, which Python does
// not carry: the target's layout picks it.
template <class Where>
int FillAsLayout(CVxDrawing& d, py::handle value, Where& where) {
    CVxImage* image = d.GetImage();
    Require(image != nullptr && image->IsCreated(), "image", "the drawing has no created target");
    const int c = image->m_nChannel, bits = image->m_nBitsPerSample;
    auto run = [&](auto v) {
        py::gil_scoped_release release;
        return d.SetFill(v, where);
    };
    auto scalar = [&](auto zero) { return run(value.cast<decltype(zero)>()); };
    if (c == 1) return bits <= 8 ? scalar(BYTE{}) : bits <= 16 ? scalar(WORD{}) : scalar(float{});
    Require(c >= 2 && c <= 4, "image", "no fill for " + std::to_string(c) + " channels");
    auto record = [&](auto r2, auto r3, auto r4) {
        return c == 2 ? run(value.cast<decltype(r2)>()) : c == 3 ? run(value.cast<decltype(r3)>()) : run(value.cast<decltype(r4)>());
    };
    if (bits <= 8) return record(tagVXG2{}, tagVXG3{}, tagVXG4{});
    if (bits <= 16) return record(tagVXGW2{}, tagVXGW3{}, tagVXGW4{});
    return record(tagVXGF2{}, tagVXGF3{}, tagVXGF4{});
}

// ---- the classes ---------------------------------------------------------------------------

using Conversion = int (*)(CVxImage*, CVxImage*);
struct NamedConversion {
    const char* name;
    Conversion run;
};
using C = CVxColorProcessing;
const NamedConversion kConversions[] = {
    {"RGBtoRGBA", &C::RGBtoRGBA}, {"RGBAtoRGB", &C::RGBAtoRGB}, {"RGBtoRGB16", &C::RGBtoRGB16},
    {"RGB16toRGB", &C::RGB16toRGB}, {"RGBtoRGB2B", &C::RGBtoRGB2B}, {"RGB2BtoRGB", &C::RGB2BtoRGB},
    {"GraytoGray16", &C::GraytoGray16}, {"Gray16toGray", &C::Gray16toGray}, {"BitmaptoRGB", &C::BitmaptoRGB},
    {"BitmaptoGray", &C::BitmaptoGray}, {"BitmaptoGray16", &C::BitmaptoGray16}, {"RGBtoIndex", &C::RGBtoIndex},
    {"IndextoRGB", &C::IndextoRGB}, {"ConverttoRGB", &C::ConverttoRGB}, {"ConverttoRGBA", &C::ConverttoRGBA},
    {"RGBtoCMYK", &C::RGBtoCMYK}, {"CMYKtoRGB", &C::CMYKtoRGB},
    {"RGBtoHSI", static_cast<Conversion>(&C::RGBtoHSI)}, {"HSItoRGB", static_cast<Conversion>(&C::HSItoRGB)},
    {"RGBtoHLS", &C::RGBtoHLS}, {"HLStoRGB", &C::HLStoRGB}, {"RGBtoHSV", static_cast<Conversion>(&C::RGBtoHSV)},
    {"HSVtoRGB", &C::HSVtoRGB}, {"RGBtoYCbCr", &C::RGBtoYCbCr}, {"YCbCrtoRGB", &C::YCbCrtoRGB},
    {"RGBtoXYZ", &C::RGBtoXYZ}, {"XYZtoRGB", &C::XYZtoRGB}, {"RGBtoYUV", &C::RGBtoYUV}, {"YUVtoRGB", &C::YUVtoRGB},
    {"RGBtoYIQ", &C::RGBtoYIQ}, {"YIQtoRGB", &C::YIQtoRGB}, {"RGBtoLUV", &C::RGBtoLUV}, {"LUVtoRGB", &C::LUVtoRGB},
    {"RGBtoLab", &C::RGBtoLab}, {"LabtoRGB", &C::LabtoRGB}, {"RGBtoLOGL", &C::RGBtoLOGL}, {"LOGLtoRGB", &C::LOGLtoRGB},
    {"RGBtoLOGLUV", &C::RGBtoLOGLUV}, {"LOGLUVtoRGB", &C::LOGLUVtoRGB},
};
using WeightedConversion = int (*)(CVxImage*, CVxImage*, float, float, float);
const std::pair<const char*, WeightedConversion> kWeighted[] = {
    {"RGBtoGray", &C::RGBtoGray}, {"RGBtoGray16", &C::RGBtoGray16}, {"GraytoRGB", &C::GraytoRGB},
    {"Gray16toRGB", &C::Gray16toRGB}};
using ThresholdConversion = int (*)(CVxImage*, CVxImage*, int);
const std::pair<const char*, ThresholdConversion> kToBitmap[] = {
    {"RGBtoBitmap", &C::RGBtoBitmap}, {"GraytoBitmap", &C::GraytoBitmap}, {"Gray16toBitmap", &C::Gray16toBitmap}};
using Adjustment = int (C::*)(float, float, float);
const std::pair<const char*, Adjustment> kAdjustments[] = {
    {"HSIAdjust", &C::HSIAdjust}, {"HLSAdjust", &C::HLSAdjust}, {"HSVAdjust", &C::HSVAdjust},
    {"LUVAdjust", &C::LUVAdjust}, {"LabAdjust", &C::LabAdjust}, {"XYZAdjust", &C::XYZAdjust},
    {"YCbCrAdjust", &C::YCbCrAdjust}, {"YIQAdjust", &C::YIQAdjust}, {"YUVAdjust", &C::YUVAdjust},
    {"LOGLUVAdjust", &C::LOGLUVAdjust}};
using Detector = int (CVxEdgeDetection::*)(CVxImage&);
using E = CVxEdgeDetection;
const std::pair<const char*, Detector> kDetectors[] = {
    {"Laplacian3", &E::Laplacian3}, {"FeiChen", &E::FeiChen}, {"Laplacian3Minus", &E::Laplacian3Minus},
    {"Laplacian3Prewitt", &E::Laplacian3Prewitt}, {"Laplacian3_4", &E::Laplacian3_4}, {"Laplacian5", &E::Laplacian5},
    {"Laplacian9", &E::Laplacian9}, {"MedianSquare2x2", &E::MedianSquare2x2}, {"PixelDifference", &E::PixelDifference},
    {"Roberts2", &E::Roberts2}, {"SeperatedPixelDifference", &E::SeperatedPixelDifference},
    {"ShadowMask", &E::ShadowMask}};

// A processing class bound to an image, keeping the image alive.
template <class T, class... Base>
py::class_<T, Base...> Processing(py::module_& m, const char* name, const char* doc) {
    py::class_<T, Base...> cls(m, name, doc);
    cls.def(py::init<>()).def(py::init<CVxImage*>(), "image"_a, py::keep_alive<1, 2>());
    return cls;
}

// Kernel weights for Convolve: at least size.cx * size.cy of them, row by row.
template <class K>
std::vector<K> Kernel(const py::array_t<K, py::array::c_style | py::array::forcecast>& kernel, CSize size) {
    Require(size.cx > 0 && size.cy > 0, "size", "both extents must be positive");
    Require(kernel.size() >= static_cast<py::ssize_t>(size.cx) * size.cy, "kernel",
            "holds fewer than size.cx * size.cy weights");
    return std::vector<K>(kernel.data(), kernel.data() + kernel.size());
}

template <class Cls, class K>
void BindConvolve(Cls& cls) {
    using Fn = int (CVxConvolution::*)(K*, CSize, CVxImage&, K, K, CONVOLUTION_FLAG);
    const std::pair<const char*, Fn> members[] = {{"Convolve", &CVxConvolution::Convolve},
                                                  {"ConvolveABS", &CVxConvolution::ConvolveABS}};
    for (auto [name, fn] : members)
        cls.def(
            name,
            [fn](CVxConvolution& self, py::array_t<K, py::array::c_style | py::array::forcecast> kernel, CSize size,
                 CVxImage& dest, K divisor, K offset, CONVOLUTION_FLAG flag) {
                std::vector<K> k = Kernel<K>(kernel, size);
                py::gil_scoped_release release;
                return (self.*fn)(k.data(), size, dest, divisor, offset, flag);
            },
            "kernel"_a, "size"_a, "dest"_a, "divisor"_a, "offset"_a, "flag"_a);
}

void BindImages(py::module_& m) {
    py::enum_<COLOR_MODEL>(m, "COLOR_MODEL", py::arithmetic())
        .value("CM_BITMAP", CM_BITMAP).value("CM_GRAY", CM_GRAY).value("CM_LOGL", CM_LOGL)
        .value("CM_INDEX", CM_INDEX).value("CM_GRAYA", CM_GRAYA).value("CM_RGB", CM_RGB)
        .value("CM_RGBA", CM_RGBA).value("CM_CMYK", CM_CMYK).value("CM_HSI", CM_HSI).value("CM_HSV", CM_HSV)
        .value("CM_HLS", CM_HLS).value("CM_XYZ", CM_XYZ).value("CM_YUV", CM_YUV).value("CM_YIQ", CM_YIQ)
        .value("CM_YCbCr", CM_YCbCr).value("CM_LUV", CM_LUV).value("CM_Lab", CM_Lab).value("CM_LOGLUV", CM_LOGLUV)
        .export_values();

    py::class_<CVxPalette>(m, "Palette", "Palette of an indexed image: (blue, green, red, alpha) entries.")
        .def("GetPaletteNum", &CVxPalette::GetPaletteNum)
        .def("SetPaletteNum", &CVxPalette::SetPaletteNum, "n"_a)
        .def("SetGrayPalette", &CVxPalette::SetGrayPalette)
        .def("GetPalette", [](py::object self) {
            CVxPalette& p = self.cast<CVxPalette&>();
            return py::array(py::dtype::of<std::uint8_t>(), {p.GetPaletteNum(), 4}, {4, 1},
                             reinterpret_cast<std::uint8_t*>(p.GetPalette()), self);
        }, "The entries as an N x 4 uint8 view (blue, green, red, alpha).");

    py::class_<CVxImage>(m, "Image", R"(An image of the image store (CVxImage).

Pixels live in the store's own memory, rows padded to four bytes; `array`
is a NumPy view of them (H x W, or H x W x C with the channels in memory
order: blue, green, red, alpha for RGB and RGBA). The view keeps the image
alive and writes through to it.)")
        .def(py::init<>())
        .def(py::init<COLOR_MODEL, int, int, int, int>(), "model"_a, "bits_per_sample"_a, "width"_a, "height"_a,
             "palette_size"_a = 0)
        .def(py::init([](py::handle array, int model, const std::string& name) {
                 return ImageFromArray(array, name, model);
             }),
             "array"_a, "model"_a = -1, "name"_a = "array",
             "Copies an H x W or H x W x C array (uint8, uint16, float32) into a new image. The model defaults "
             "to grey, grey+alpha, RGB or RGBA by channel count; `name` names the argument in errors.")
        .def("Create", [](CVxImage& self, COLOR_MODEL model, int bits, int width, int height, int paletteSize) {
                 self.Create(model, bits, width, height, paletteSize);
             }, "model"_a, "bits_per_sample"_a, "width"_a, "height"_a, "palette_size"_a = 0)
        .def("Remove", &CVxImage::Remove)
        .def("IsCreated", &CVxImage::IsCreated)
        .def("SetPixel", [](CVxImage& self, int x, int y, BYTE v) { self.SetPixel(x, y, v); }, "x"_a, "y"_a, "value"_a)
        .def("GetPalette", py::overload_cast<>(&CVxImage::GetPalette), py::return_value_policy::reference_internal)
        .def("copy", [](const CVxImage& self) { return CVxImage(self); }, "A deep copy.")
        .def_property_readonly("array", [](py::object self) { return ArrayOfImage(self); },
                               "The pixels as a NumPy view sharing the image's memory.")
        .def_readonly("m_ColorModel", &CVxImage::m_ColorModel)
        .def_readonly("m_nChannel", &CVxImage::m_nChannel)
        .def_readonly("m_nBitsPerSample", &CVxImage::m_nBitsPerSample)
        .def_readonly("m_nWidth", &CVxImage::m_nWidth)
        .def_readonly("m_nHeight", &CVxImage::m_nHeight)
        .def_readonly("m_nBytesPerLine", &CVxImage::m_nBytesPerLine)
        .def_readonly("m_nImageSize", &CVxImage::m_nImageSize)
        .def("__repr__", [](const CVxImage& i) {
            return "<lumora.Image " + std::to_string(i.m_nWidth) + "x" + std::to_string(i.m_nHeight) + " model " +
                   std::to_string(i.m_ColorModel) + ", " + std::to_string(i.m_nBitsPerSample) + "-bit>";
        });

    py::class_<CVxImageArray>(m, "ImageArray", "An ordered collection of images (frames); it keeps them alive.")
        .def(py::init<>())
        .def("Add", &CVxImageArray::Add, "image"_a, py::keep_alive<1, 2>())
        .def("GetAt", &CVxImageArray::GetAt, "index"_a, py::return_value_policy::reference)
        .def("GetSize", &CVxImageArray::GetSize)
        .def("RemoveAll", &CVxImageArray::RemoveAll);

    m.def("model_channels", static_cast<int (*)(COLOR_MODEL)>(&CVxImageInfo::GetChannel), "model"_a, "Channel count of a colour model; 0 for none.");
    m.def("read_image", [](const std::string& path, int model) {
              auto image = std::make_unique<CVxImage>();
              io::ReadOptions options;
              if (model >= 0) options.model = static_cast<COLOR_MODEL>(model);
              py::gil_scoped_release release;
              io::ReadImage(path, *image, options);
              return image;
          }, "path"_a, "model"_a = -1,
          "Reads a PNG, PGM/PPM, BMP, NumPy or PFM file into an Image (`model` names the colour model of a "
          "NumPy or PFM file). Raises OSError naming the file when it cannot.");
    m.def("write_image", [](const std::string& path, CVxImage& image) {
              py::gil_scoped_release release;
              io::WriteImage(path, image);
          }, "path"_a, "image"_a,
          "Writes an Image; the format follows the extension (.png .pgm .ppm .pnm .bmp .npy .pfm).");
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const io::ImageFileError& e) {
            PyErr_SetString(PyExc_OSError, e.what());
        }
    });
}

void BindPoint(py::module_& m) {
    using A = CVxArithmeticProcessing;
    Processing<A, CVxLumoraBase>(m, "ArithmeticProcessing", "In-place arithmetic with a constant or an image.")
        .def("ADD", py::overload_cast<int, CRect>(&A::ADD), "value"_a, "rect"_a = kWhole, kRelease)
        .def("ADD", py::overload_cast<float, CRect>(&A::ADD), "value"_a, "rect"_a = kWhole, kRelease)
        .def("SUB", py::overload_cast<int, CRect>(&A::SUB), "value"_a, "rect"_a = kWhole, kRelease)
        .def("SUB", py::overload_cast<float, CRect>(&A::SUB), "value"_a, "rect"_a = kWhole, kRelease)
        .def("MUL", py::overload_cast<int, CRect>(&A::MUL), "value"_a, "rect"_a = kWhole, kRelease)
        .def("MUL", py::overload_cast<float, CRect>(&A::MUL), "value"_a, "rect"_a = kWhole, kRelease)
        .def("DIV", py::overload_cast<CVxImage&, CRect>(&A::DIV), "operand"_a, "rect"_a = kWhole, kRelease)
        .def("DIV", py::overload_cast<int, CRect>(&A::DIV), "value"_a, "rect"_a = kWhole, kRelease)
        .def("DIV", py::overload_cast<float, CRect>(&A::DIV), "value"_a, "rect"_a = kWhole, kRelease)
        .def("OR", &A::OR, "operand"_a, "rect"_a = kWhole, kRelease)
        .def("AND", &A::AND, "operand"_a, "rect"_a = kWhole, kRelease)
        .def("NOT", &A::NOT, "operand"_a, "rect"_a = kWhole, kRelease)
        .def("XOR", &A::XOR, "operand"_a, "rect"_a = kWhole, kRelease);

    using P = CVxPointProcessing;
    Processing<P, CVxLumoraBase>(m, "PointProcessing", "Per-channel value counts.")
        .def("CalLookupTable", &P::CalLookupTable, kRelease)
        .def("GetLookupTableCount", &P::GetLookupTableCount)
        .def("GetLookupTable", [](py::object self, int index) {
                 P& p = self.cast<P&>();
                 Require(index >= 0 && index < p.GetLookupTableCount(), "index", "no such table");
                 _PP_LOOKUP_TABLE& t = p.GetLookupTable(index);
                 return py::array(py::dtype::of<std::uint32_t>(), {t.nSize}, {4}, t.pTable, self);
             }, "index"_a, "The counts of channel `index` as a uint32 view.")
        .def("RemoveAll", &P::RemoveAll);
    Processing<CVxBrightnessProcessing, P>(m, "BrightnessProcessing", "Brightness as addition or subtraction.")
        .def("Brightness", &CVxBrightnessProcessing::Brightness, "value"_a, kRelease);
    using Ct = CVxContrastProcessing;
    Processing<Ct, P>(m, "ContrastProcessing", "Samples through a linear table.")
        .def("SetCoefficient", &Ct::SetCoefficient, "coefficient"_a)
        .def("GetCoefficient", &Ct::GetCoefficient)
        .def("CreateVectorTable", &Ct::CreateVectorTable, "size"_a, kRelease)
        .def("Contrast", &Ct::Contrast, "rect"_a = kWhole, kRelease)
        .def("AutoContrast", &Ct::AutoContrast);
    using G = CVxGammaProcessing;
    Processing<G, P>(m, "GammaProcessing", "Samples through a power table.")
        .def("SetCoefficient", &G::SetCoefficient, "coefficient"_a)
        .def("GetCoefficient", &G::GetCoefficient)
        .def("CreateVectorTable", &G::CreateVectorTable, "size"_a, kRelease)
        .def("Gamma", &G::Gamma, "rect"_a = kWhole, kRelease);
    using T = CVxThresholdProcessing;
    Processing<T, CVxLumoraBase>(m, "ThresholdProcessing", "Thresholds and cuts of a one-channel image.")
        .def("Threshold", &T::Threshold, "dest"_a, "level"_a, kRelease)
        .def("Cut", &T::Cut, "dest"_a, "level"_a, "upper"_a, kRelease)
        .def("Partial", &T::Partial, "dest"_a, "level"_a, kRelease);
}

void BindColour(py::module_& m) {
    auto cls = Processing<C, CVxLumoraBase>(m, "ColorProcessing", "Colour-model and colour-space conversions, adjustments.");
    for (auto [name, fn] : kConversions)
        cls.def_static(name, [fn = fn](CVxImage* s, CVxImage* d) {
            py::gil_scoped_release release;
            return fn(s, d);
        }, "src"_a, "dest"_a);
    for (auto [name, fn] : kWeighted)
        cls.def_static(name, [fn = fn](CVxImage* s, CVxImage* d, float wr, float wg, float wb) {
            py::gil_scoped_release release;
            return fn(s, d, wr, wg, wb);
        }, "src"_a, "dest"_a, "wr"_a, "wg"_a, "wb"_a);
    for (auto [name, fn] : kToBitmap)
        cls.def_static(name, [fn = fn](CVxImage* s, CVxImage* d, int threshold) {
            py::gil_scoped_release release;
            return fn(s, d, threshold);
        }, "src"_a, "dest"_a, "threshold"_a);
    for (auto [name, fn] : kAdjustments) cls.def(name, fn, "d1"_a, "d2"_a, "d3"_a, kRelease);
    cls.def("LOGLAdjust", &C::LOGLAdjust, "d"_a)
        .def("Invert", &C::Invert, "channel"_a, kRelease)
        .def("ReplaceColor", &C::ReplaceColor, "old_color"_a, "new_color"_a, kRelease)
        .def_static("RGBtoHSI", [](BYTE r, BYTE g, BYTE b) {
            float h, s, i;
            C::RGBtoHSI(r, g, b, h, s, i);
            return py::make_tuple(h, s, i);
        }, "r"_a, "g"_a, "b"_a, "One pixel: (h, s, i).")
        .def_static("HSItoRGB", [](float h, float s, float i) {
            BYTE r, g, b;
            C::HSItoRGB(h, s, i, r, g, b);
            return py::make_tuple(r, g, b);
        }, "h"_a, "s"_a, "i"_a, "One pixel: (r, g, b).")
        .def_static("RGBtoHSV", [](BYTE r, BYTE g, BYTE b) {
            float h, s, v;
            C::RGBtoHSV(r, g, b, h, s, v);
            return py::make_tuple(h, s, v);
        }, "r"_a, "g"_a, "b"_a, "One pixel: (h, s, v).");
}

void BindNeighbourhood(py::module_& m) {
    py::enum_<CONVOLUTION_FLAG>(m, "CONVOLUTION_FLAG", py::arithmetic())
        .value("CONVOLUTION_CREATE", CONVOLUTION_CREATE).value("CONVOLUTION_INNER", CONVOLUTION_INNER)
        .value("CONVOLUTION_EXTEND", CONVOLUTION_EXTEND).export_values();
    py::enum_<PREWITT_FLAG>(m, "PREWITT_FLAG", py::arithmetic())
        .value("PREWITT_DIAGONAL", PREWITT_DIAGONAL).value("PREWITT_HORIZONTAL", PREWITT_HORIZONTAL)
        .value("PREWITT_VERTICAL", PREWITT_VERTICAL).export_values();
    py::enum_<SOBEL_FLAG>(m, "SOBEL_FLAG", py::arithmetic())
        .value("SOBEL_DIAGONAL", SOBEL_DIAGONAL).value("SOBEL_HORIZONTAL", SOBEL_HORIZONTAL)
        .value("SOBEL_VERTICAL", SOBEL_VERTICAL).export_values();

    auto conv = Processing<CVxConvolution, CVxLumoraBase>(m, "Convolution", "Correlation with a caller's kernel.");
    BindConvolve<decltype(conv), int>(conv);
    BindConvolve<decltype(conv), float>(conv);
    using F = CVxFilter;
    Processing<F, CVxConvolution>(m, "Filter", "Blur, sharpen, median and noise removal.")
        .def("Blur", &F::Blur, "dest"_a, kRelease)
        .def("Sharpen", &F::Sharpen, "dest"_a, kRelease)
        .def("Median", &F::Median, "dest"_a, kRelease)
        .def("RemoveRandomNoise", &F::RemoveRandomNoise, "dest"_a, "threshold"_a, kRelease);
    auto edges = Processing<E, CVxLumoraBase>(m, "EdgeDetection", "Prewitt, Sobel and Laplacian edges.");
    edges.def("Prewitt", &E::Prewitt, "dest"_a, "flag"_a, kRelease).def("Sobel3", &E::Sobel3, "dest"_a, "flag"_a, kRelease);
    for (auto [name, fn] : kDetectors) edges.def(name, fn, "dest"_a, kRelease);
    using M = CVxMorphologicProcessing;
    Processing<M, CVxLumoraBase>(m, "MorphologicProcessing", "Grey erosion and dilation with a flat square.")
        .def("Erode", &M::Erode, "dest"_a, "radius"_a, kRelease)
        .def("Dilate", &M::Dilate, "dest"_a, "radius"_a, kRelease)
        .def("Open", &M::Open, "dest"_a, "radius"_a, kRelease)
        .def("Close", &M::Close, "dest"_a, "radius"_a, kRelease);
}

void BindGeometry(py::module_& m) {
    using G = CVxGeometryProcessing;
    auto geometry = Processing<G, CVxLumoraBase>(m, "GeometryProcessing", "Flip, shift and resize.");
    py::enum_<G::FLIP_FLAG>(geometry, "FLIP_FLAG", py::arithmetic())
        .value("FLIP_VERTICAL", G::FLIP_VERTICAL).value("FLIP_HORIZONTAL", G::FLIP_HORIZONTAL)
        .value("FLIP_BOTH", G::FLIP_BOTH).export_values();
    py::enum_<G::INTERPOLATION>(geometry, "INTERPOLATION", py::arithmetic())
        .value("INTERPOLATION_BILINEAR", G::INTERPOLATION_BILINEAR)
        .value("INTERPOLATION_NEAREST", G::INTERPOLATION_NEAREST).export_values();
    geometry.def("SetBackColor", py::overload_cast<BYTE>(&G::SetBackColor), "value"_a)
        .def("SetBackColor", py::overload_cast<tagVXG2>(&G::SetBackColor), "value"_a)
        .def("SetBackColor", py::overload_cast<tagVXG3>(&G::SetBackColor), "value"_a)
        .def("SetBackColor", py::overload_cast<tagVXG4>(&G::SetBackColor), "value"_a)
        .def("Flip", &G::Flip, "flag"_a, kRelease)
        .def("Shift", &G::Shift, "offset"_a, kRelease)
        .def("Resize", py::overload_cast<int, int, CVxImage&, G::INTERPOLATION>(&G::Resize), "width"_a, "height"_a,
             "dest"_a, "method"_a, kRelease)
        .def("Resize", py::overload_cast<float, CVxImage&>(&G::Resize), "scale"_a, "dest"_a, kRelease)
        .def("ResizeEx", &G::ResizeEx, "scale"_a, "phase"_a, "dest"_a, kRelease);
    using Mi = CVxMiscProcessing;
    Processing<Mi, CVxLumoraBase>(m, "MiscProcessing", "Crop, copy out of and paste into the target.")
        .def("Crop", &Mi::Crop, "rect"_a, kRelease)
        .def("CopyTo", &Mi::CopyTo, "dest"_a, "rect"_a, kRelease)
        .def("PasteFrom", py::overload_cast<CVxImage&, CRect>(&Mi::PasteFrom), "source"_a, "rect"_a, kRelease)
        .def("PasteFrom", py::overload_cast<CVxImage&, CRect, CVxImage&>(&Mi::PasteFrom), "source"_a, "rect"_a,
             "mask"_a, kRelease);
    Processing<CVxDrawing, CVxLumoraBase>(m, "Drawing",
                                          "Fills. SetFill takes a sample or a tuple of samples; the target's layout "
                                          "picks the C overload, as the value's type does in C++.")
        .def("SetFill", &FillAsLayout<CVxImage>, "value"_a, "mask"_a)
        .def("SetFill", &FillAsLayout<CRect>, "value"_a, "rect"_a);
}

void BindAnalysis(py::module_& m) {
    py::enum_<HIST_FLAG>(m, "HIST_FLAG", py::arithmetic())
        .value("HIST_RAW", HIST_RAW).value("HIST_SMOOTHED", HIST_SMOOTHED).value("HIST_DIFF1", HIST_DIFF1)
        .value("HIST_DIFF2", HIST_DIFF2).value("HIST_DIFF3", HIST_DIFF3).export_values();
    using H = CVxHistogram;
    py::class_<H>(m, "Histogram", "Integer bins of one channel, with smoothed and difference buffers.")
        .def(py::init<>())
        .def(py::init<int>(), "bins"_a)
        .def(py::init<CVxImage&, int>(), "image"_a, "channel"_a, kRelease)
        .def("Create", py::overload_cast<int>(&H::Create), "bins"_a)
        .def("Create", py::overload_cast<CVxImage&, int>(&H::Create), "image"_a, "channel"_a, kRelease)
        .def("Remove", &H::Remove)
        .def("IsCreated", &H::IsCreated)
        .def("GetCircularModel", &H::GetCircularModel)
        .def("SetCircularModel", &H::SetCircularModel, "circular"_a)
        .def("GetSize", &H::GetSize)
        .def("CreateBuffer", &H::CreateBuffer, "flag"_a)
        .def("GetBuffer", [](py::object self, HIST_FLAG flag) -> py::object {
                 H& h = self.cast<H&>();
                 int* buffer = h.GetBuffer(flag);
                 if (buffer == nullptr) return py::none();
                 return py::array(py::dtype::of<int>(), {h.GetSize()}, {4}, buffer, self);
             }, "flag"_a, "The buffer as an int32 view, or None when it is absent.")
        .def("SetBuffer", [](H& h, py::array_t<int, py::array::c_style | py::array::forcecast> values, HIST_FLAG flag) {
                 Require(values.size() >= h.GetSize(), "values", "holds fewer values than the histogram has bins");
                 h.SetBuffer(values.mutable_data(), flag);
             }, "values"_a, "flag"_a)
        .def("GetValue", &H::GetValue, "pos"_a, "flag"_a)
        .def("SetValue", &H::SetValue, "pos"_a, "value"_a, "flag"_a)
        .def("AddValue", &H::AddValue, "pos"_a, "value"_a, "flag"_a)
        .def("SubValue", &H::SubValue, "pos"_a, "value"_a, "flag"_a)
        .def("GetHighValidPosition", py::overload_cast<HIST_FLAG>(&H::GetHighValidPosition), "flag"_a)
        .def("GetLowValidPosition", py::overload_cast<HIST_FLAG>(&H::GetLowValidPosition), "flag"_a)
        .def("GetMaxValue", [](H& h, int start, int end, HIST_FLAG flag) {
            int pos = 0;
            const int v = h.GetMaxValue(&pos, start, end, flag);
            return py::make_tuple(v, pos);
        }, "start"_a, "end"_a, "flag"_a, "(value, position)")
        .def("GetMinValue", [](H& h, int start, int end, HIST_FLAG flag) {
            int pos = 0;
            const int v = h.GetMinValue(&pos, start, end, flag);
            return py::make_tuple(v, pos);
        }, "start"_a, "end"_a, "flag"_a, "(value, position)")
        .def("GetMeanValue", py::overload_cast<int, int, HIST_FLAG>(&H::GetMeanValue), "start"_a, "end"_a, "flag"_a)
        .def("SetHistogram", &H::SetHistogram, "image"_a, "channel"_a, kRelease);

    using D = CVxHistogramDensity;
    py::class_<D>(m, "HistogramDensity", "One extremum of a histogram with its neighbours of the other kind.")
        .def(py::init<>())
        .def(py::init<int, int>(), "position"_a, "density"_a)
        .def("GetPrevDensityDiff", &D::GetPrevDensityDiff)
        .def("GetNextDensityDiff", &D::GetNextDensityDiff)
        .def("GetDensityDiff", &D::GetDensityDiff)
        .def_readwrite("m_nPos", &D::m_nPos).def_readwrite("m_nDensity", &D::m_nDensity)
        .def_readwrite("m_nPrevPos", &D::m_nPrevPos).def_readwrite("m_nPrevDensity", &D::m_nPrevDensity)
        .def_readwrite("m_nNextPos", &D::m_nNextPos).def_readwrite("m_nNextDensity", &D::m_nNextDensity);

    using HP = CVxHistogramProcessing;
    py::class_<HP>(m, "HistogramProcessing", "Smoothing, differences, extrema and dominant peaks of a Histogram.")
        .def(py::init<>())
        .def(py::init<H*>(), "histogram"_a, py::keep_alive<1, 2>())
        .def("SetHistogram", &HP::SetHistogram, "histogram"_a, py::keep_alive<1, 2>())
        .def("GetHistogram", &HP::GetHistogram, py::return_value_policy::reference)
        .def("SetMinIntervalRatio", &HP::SetMinIntervalRatio, "ratio"_a)
        .def("SetMaxRawMaximaCount", &HP::SetMaxRawMaximaCount, "count"_a)
        .def("SetMaxValidMaximaCount", &HP::SetMaxValidMaximaCount, "count"_a)
        .def("Smooth", &HP::Smooth, "passes"_a, "flag"_a, "radius"_a, "start"_a, "end"_a, kRelease)
        .def("FindMaximaMinima", &HP::FindMaximaMinima, kRelease)
        .def("GetMaximaArray", [](HP& p) { return RecordList<D>(p.GetMaximaArray()); }, "Copies of the records.")
        .def("GetMinimaArray", [](HP& p) { return RecordList<D>(p.GetMinimaArray()); }, "Copies of the records.")
        .def("GetValidMaximaArray", [](HP& p) { return RecordList<D>(p.GetValidMaximaArray()); }, "Copies of the records.")
        .def("GetThMinimaPos", &HP::GetThMinimaPos)
        .def("GetThPrevMaximaPos", &HP::GetThPrevMaximaPos)
        .def("GetThNextMaximaPos", &HP::GetThNextMaximaPos)
        .def("SaveHistogram", &HP::SaveHistogram, "path"_a, "flag"_a, kRelease);

    using HI = CVxHoughImage;
    py::class_<HI>(m, "HoughImage", "The Hough accumulator, one row of rho bins per theta bin.")
        .def(py::init<>())
        .def(py::init<int, int>(), "rho_count"_a, "theta_count"_a)
        .def("Create", &HI::Create, "rho_count"_a, "theta_count"_a)
        .def("Remove", &HI::Remove)
        .def("IsCreated", &HI::IsCreated)
        .def("GetRhoCount", &HI::GetRhoCount)
        .def("GetThetaCount", &HI::GetThetaCount)
        .def("GetBuffer", [](py::object self) -> py::object {
            HI& h = self.cast<HI&>();
            if (!h.IsCreated()) return py::none();
            // Rows are separate blocks: copy them into one theta x rho array.
            py::array_t<std::uint32_t> out({h.GetThetaCount(), h.GetRhoCount()});
            for (int t = 0; t < h.GetThetaCount(); ++t)
                std::memcpy(out.mutable_data(t, 0), h.GetBuffer()[t], sizeof(DWORD) * h.GetRhoCount());
            return out;
        }, "A copy of the counts, theta x rho (uint32), or None.")
        .def("GetAt", &HI::GetAt, "rho"_a, "theta"_a)
        .def("SetAt", &HI::SetAt, "rho"_a, "theta"_a, "value"_a)
        .def("GetMax", &HI::GetMax).def("GetMin", &HI::GetMin)
        .def("GetRhoMax", &HI::GetRhoMax, "rho"_a).def("GetRhoMin", &HI::GetRhoMin, "rho"_a)
        .def("GetThetaMax", &HI::GetThetaMax, "theta"_a).def("GetThetaMin", &HI::GetThetaMin, "theta"_a)
        .def("GetMean", &HI::GetMean)
        .def("GetRhoMean", &HI::GetRhoMean, "rho"_a)
        .def("GetThetaMean", &HI::GetThetaMean, "theta"_a);

    using HT = CVxHoughTransform;
    Processing<HT, CVxLumoraBase>(m, "HoughTransform", "Straight lines of an 8-bit grey image.")
        .def("Direct", &HT::Direct, kRelease)
        .def("ComputeSINCOS", &HT::ComputeSINCOS)
        .def("DetectLine", &HT::DetectLine, "lines"_a, kRelease)
        .def("Inverse", &HT::Inverse, "lines"_a, "peaks"_a, kRelease)
        .def("SetLineInfo", &HT::SetLineInfo)
        .def("GetDisplayImage", &HT::GetDisplayImage, "picture"_a, kRelease)
        .def("RemoveThetaRhoArray", &HT::RemoveThetaRhoArray)
        .def("GetThetaRhoArray", [](HT& h) { return ThetaRhoList(h.GetThetaRhoArray()); },
             "Copies of the records as dicts (nTheta, arrRho, arrPoint1, arrPoint2).")
        .def("GetHoughImage", &HT::GetHoughImage, py::return_value_policy::reference_internal)
        .def("GetRhoMax", &HT::GetRhoMax).def("GetRhoStep", &HT::GetRhoStep)
        .def("GetThetaMin", &HT::GetThetaMin).def("GetThetaStep", &HT::GetThetaStep);
}

void BindSeriesAndExchange(py::module_& m) {
    using Av = CVxAveraging;
    py::class_<Av, CVxLumoraBase>(m, "Averaging", "The per-sample mean of a series of frames.")
        .def(py::init<CVxImageArray*>(), "frames"_a, py::keep_alive<1, 2>())
        .def("Averaging", &Av::Averaging, "dest"_a, "mode"_a, kRelease)
        .def("AveragingAverage", &Av::AveragingAverage, "dest"_a, kRelease)
        .def("AveragingAccumulation", &Av::AveragingAccumulation, "dest"_a)
        .def("AveragingMinMax", &Av::AveragingMinMax, "dest"_a);
    using S = CLMRShadingCorrect;
    Processing<S, CVxLumoraBase>(m, "ShadingCorrect", "Flat-field correction against a blank image.")
        .def("SetBlankImage", &S::SetBlankImage, "blank"_a, kRelease)
        .def("GetBlankImage", &S::GetBlankImage, py::return_value_policy::reference_internal)
        .def("GetMean", &S::GetMean, "image"_a = nullptr)
        .def("ShadingCorrect", &S::ShadingCorrect, kRelease);
    using Dib = CVxDIBConvert;
    Processing<Dib, CVxLumoraBase>(m, "DIBConvert", "Images to and from device-independent bitmap blocks (bytes).")
        .def("ConvertTo", [](Dib& d) {
                 BITMAPINFOHEADER* block = nullptr;
                 int answer;
                 {
                     py::gil_scoped_release release;
                     answer = d.ConvertTo(&block);
                 }
                 py::object bytes = py::none();
                 if (block) bytes = py::bytes(reinterpret_cast<const char*>(block), BlockBytes(*block));
                 Dib::DeleteBitmapInfoHeaderMem(block);
                 return py::make_tuple(answer, bytes);
             }, "(answer, block bytes or None); the block is copied and freed.")
        .def("ConvertFrom", [](Dib& d, py::bytes block) {
            std::string b = block;
            // The block is read as a header: give it the alignment one has.
            std::vector<std::uint32_t> aligned((b.size() + 3) / 4);
            std::memcpy(aligned.data(), b.data(), b.size());
            py::gil_scoped_release release;
            return d.ConvertFrom(reinterpret_cast<BITMAPINFOHEADER*>(aligned.data()), b.size());
        }, "block"_a, "The sized form: every field is checked against the block's length.");
}

}  // namespace
}  // namespace lumora::python

PYBIND11_MODULE(_lumora, m) {
    using namespace lumora::python;
    m.doc() = "Lumora's classes and image store; the lumora package builds its functions on them.";
    py::register_exception<ArgumentError>(m, "LumoraError", PyExc_ValueError);
    m.def("require", &Require, "ok"_a, "argument"_a, "reason"_a,
          "Raises LumoraError('<argument>: <reason>') unless `ok`.");
    m.def("set_thread_count", &SetLumoraThreadCount, "count"_a, "Threads an operation may use (0: every core).");
    m.def("get_thread_count", &GetLumoraThreadCount);

    py::class_<CVxLumoraBase>(m, "LumoraBase", "What every processing class is bound to.")
        .def("SetImage", &CVxLumoraBase::SetImage, "image"_a, py::keep_alive<1, 2>())
        .def("GetImage", py::overload_cast<>(&CVxLumoraBase::GetImage), py::return_value_policy::reference)
        .def("SetAOIImage", &CVxLumoraBase::SetAOIImage, "aoi"_a, py::keep_alive<1, 2>())
        .def("GetAOIImage", py::overload_cast<>(&CVxLumoraBase::GetAOIImage), py::return_value_policy::reference)
        .def("GetPlane", &CVxLumoraBase::GetPlane, "index"_a, "plane"_a, kRelease)
        .def("SetPlane", &CVxLumoraBase::SetPlane, "index"_a, "plane"_a, kRelease);

    BindImages(m);
    BindPoint(m);
    BindColour(m);
    BindNeighbourhood(m);
    BindGeometry(m);
    BindAnalysis(m);
    BindSeriesAndExchange(m);
}
