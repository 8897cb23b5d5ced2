"""One Python function per operation, made from a table.

Every function takes NumPy arrays (H x W or H x W x C; uint8, uint16 or
float32; channels in memory order, blue first for colour), copies the input
once into an image, runs the library's member with the GIL released and
returns the result as an array that shares the result image's memory.
"""
import inspect
from dataclasses import dataclass, field
from typing import Any, Callable, Optional

import numpy as np

from . import _lumora as _L
from ._lumora import LumoraError, require

WHOLE = (-1, -1, -1, -1)
DEST = object()  # where the destination image goes in a member's arguments


# ---- argument converters: (value, name) -> the C++ argument ---------------------

def _int(value, name):
    """an integer (32-bit)"""
    require(isinstance(value, (int, np.integer)) and not isinstance(value, bool), name,
            f"expected an integer, got {value!r}")
    require(-2**31 <= int(value) < 2**31, name, "does not fit in 32 bits")
    return int(value)


def _radius(value, name):
    """an integer, 0 or more"""
    value = _int(value, name)
    require(value >= 0, name, f"must be 0 or more, got {value}")
    return value


def _number(value, name):
    """an int (the int overload) or a float (the float overload)"""
    if isinstance(value, (int, np.integer)) and not isinstance(value, bool):
        return _int(value, name)
    require(isinstance(value, (float, np.floating)), name, f"expected a number, got {value!r}")
    return float(value)


def _float(value, name):
    """a number, taken as a float"""
    require(isinstance(value, (int, float, np.integer, np.floating)) and not isinstance(value, bool), name,
            f"expected a number, got {value!r}")
    return float(value)


def _rect(value, name):
    """(left, top, right, bottom), edges included"""
    if value is None:
        return WHOLE
    require(len(tuple(value)) == 4, name, "expected (left, top, right, bottom)")
    return tuple(_int(v, name) for v in value)


def _pair(value, name):
    """a pair of integers"""
    require(len(tuple(value)) == 2, name, "expected a pair")
    return tuple(_int(v, name) for v in value)


def _choice(names, enum):
    def convert(value, name):
        require(value in names, name, f"expected one of {', '.join(map(repr, names))}, got {value!r}")
        return enum(names[value])
    convert.__doc__ = "one of " + ", ".join(map(repr, names))
    return convert


def _pixel(value, name):
    """a tuple of samples, one per channel in memory order"""
    return tuple(value) if isinstance(value, (tuple, list, np.ndarray)) else value


def _image(value, name):
    """an array of the same sample type and channel count as `a`"""
    return _L.Image(value, -1, name)


def _kernel(value, name):
    """a 2-D array of weights, rows x columns"""
    k = np.asarray(value)
    require(k.ndim == 2 and k.size > 0, name, "expected a non-empty 2-D kernel")
    return k


@dataclass
class Param:
    name: str
    convert: Callable
    default: Any = inspect.Parameter.empty
    doc: str = ""


@dataclass
class Op:
    name: str
    cls: Any                       # processing class, or None for a static member of ColorProcessing
    member: str
    doc: str
    params: list = field(default_factory=list)
    kind: str = "dest"             # "dest": member(dest, ...); "inplace": member(...) changes the image
    mask: bool = False             # honours an area-of-interest mask
    answer: Optional[str] = None   # the FALSE the member gives by design after its work
    reach: Optional[Callable] = None  # pixels of neighbourhood a result depends on; None: not tileable
    src_model: int = -1            # colour model the input array is read as
    dest: Optional[tuple] = None   # (model, bits): a conversion into a destination made beforehand
    prepare: Optional[Callable] = None  # (obj, args, image, dest) -> the member's arguments


_RECT = Param("rect", _rect, None, "region (left, top, right, bottom), edges included; None for the whole image")


def _table_steps(obj, args, image, dest):
    coefficient, size, rect = args
    obj.SetCoefficient(coefficient)
    obj.CreateVectorTable(size if size else (256 if image.m_nBitsPerSample <= 8 else 65536))
    return [rect]


_DIRECTIONS = {"diagonal": 0, "horizontal": 1, "vertical": 2}
_BORDERS = {"create": 0, "inner": 1, "extend": 2}
_FLIPS = {"vertical": 0, "horizontal": 1, "both": 2}
_METHODS = {"bilinear": 1, "nearest": 2}
_ZERO = lambda args: 0  # noqa: E731
_ONE = lambda args: 1  # noqa: E731


def _kernel_reach(args):
    ky, kx = args["kernel"].shape
    return max(ky // 2, kx // 2)


def _convolve_steps(obj, args, image, dest):
    kernel, divisor, offset, border = args
    ky, kx = kernel.shape
    if isinstance(divisor, int) and isinstance(offset, int) and np.issubdtype(kernel.dtype, np.integer):
        kernel = kernel.astype(np.int32)
    else:
        kernel, divisor, offset = kernel.astype(np.float32), float(divisor), float(offset)
    return [kernel.ravel(), (kx, ky), DEST, divisor, offset, border]


def _resize_steps(obj, args, image, dest):
    width, height, method = args
    require(method != _L.GeometryProcessing.INTERPOLATION_BILINEAR or image.m_nBitsPerSample <= 16, "method",
            "bilinear resizing takes 8- and 16-bit samples (it writes nothing for float ones)")
    return [width, height, DEST, method]


def _whole(image):
    return (0, 0, image.m_nWidth - 1, image.m_nHeight - 1)


def _optional_image(value, name):
    """an array, or None"""
    return None if value is None else _image(value, name)


def _zoom_steps(obj, args, image, dest):
    scale, phase, width, height = args
    require(width > 0 and height > 0, "width", "the zoomed image needs a width and a height above 0")
    dest.Create(image.m_ColorModel, image.m_nBitsPerSample, width, height)
    return [scale, phase, DEST]


def _copy_steps(obj, args, image, dest):
    left, top, right, bottom = args[0]
    require(right >= left and bottom >= top, "rect", "expected left <= right and top <= bottom")
    dest.Create(image.m_ColorModel, image.m_nBitsPerSample, right - left + 1, bottom - top + 1)
    return [DEST, args[0]]


OPS = [
    # ---- point ------------------------------------------------------------------
    Op("add", _L.ArithmeticProcessing, "ADD", "Adds a constant (int or float overload by type), capped at 255.",
       [Param("value", _number), _RECT], kind="inplace", reach=_ZERO),
    Op("subtract", _L.ArithmeticProcessing, "SUB", "Subtracts a constant, floored at 0.",
       [Param("value", _number), _RECT], kind="inplace", reach=_ZERO),
    Op("multiply", _L.ArithmeticProcessing, "MUL", "Multiplies by a constant, capped at 255.",
       [Param("value", _number), _RECT], kind="inplace", reach=_ZERO),
    Op("divide", _L.ArithmeticProcessing, "DIV", "Divides by a second image of the same size and layout.",
       [Param("operand", _image), _RECT], kind="inplace"),
    Op("bitwise_or", _L.ArithmeticProcessing, "OR", "Bitwise OR with a second image of the same size and layout.",
       [Param("operand", _image), _RECT], kind="inplace"),
    Op("brightness", _L.BrightnessProcessing, "Brightness",
       "Brightness: value < 1 subtracts -value (floored at 0), otherwise adds value (capped at 255).",
       [Param("value", _int)], kind="inplace", reach=_ZERO),
    Op("contrast", _L.ContrastProcessing, "Contrast",
       "Samples through the linear table trunc(i * coefficient + 0.5) of `size` entries.",
       [Param("coefficient", _float), Param("size", _radius, 0, "table entries; 0: 256 for 8-bit, 65536 otherwise"),
        _RECT], kind="inplace", reach=_ZERO, prepare=_table_steps),
    Op("gamma", _L.GammaProcessing, "Gamma", "Samples through the table trunc(pow(i, coefficient)) of `size` entries.",
       [Param("coefficient", _float), Param("size", _radius, 0, "table entries; 0: 256 for 8-bit, 65536 otherwise"),
        _RECT], kind="inplace", reach=_ZERO, prepare=_table_steps),
    Op("threshold", _L.ThresholdProcessing, "Threshold", "255 where the sample is at least `level`, 0 elsewhere "
       "(one-channel images).", [Param("level", _int)], reach=_ZERO),
    Op("cut", _L.ThresholdProcessing, "Cut", "upper: keep samples >= level, 0 elsewhere; otherwise keep samples "
       "<= level, all bits set elsewhere (one-channel images).", [Param("level", _int), Param("upper", lambda v, n: int(bool(v)), True, "keep the upper side")],
       reach=_ZERO),
    Op("partial", _L.ThresholdProcessing, "Partial", "A copy of the image.", [Param("level", _int)],
       answer="the member answers FALSE by design; the copy is returned", reach=_ZERO),
    # ---- colour -------------------------------------------------------------------
    Op("invert", _L.ColorProcessing, "Invert", "max - sample on the chosen channels (0: all, n: channel n - 1).",
       [Param("channel", _int, 0)], kind="inplace", reach=_ZERO),
    Op("replace_color", _L.ColorProcessing, "ReplaceColor", "Pixels equal to old_color take new_color "
       "(four bytes each, blue first).", [Param("old_color", _pixel), Param("new_color", _pixel)], kind="inplace",
       reach=_ZERO),
    Op("hsi_adjust", _L.ColorProcessing, "HSIAdjust", "Shifts hue, saturation and intensity of RGB / RGBA pixels.",
       [Param("dh", _float), Param("ds", _float), Param("di", _float)], kind="inplace",
       answer="the member answers FALSE by design, also after a complete pass", reach=_ZERO),
    # ---- neighbourhood ----------------------------------------------------------------
    Op("convolve", _L.Convolution, "Convolve", "Correlation with `kernel` (rows x columns, int or float weights); "
       "each sum is divided by `divisor`, `offset` is added, the result clamped to the sample range. Integer "
       "kernel, divisor and offset pick the integer engine.",
       [Param("kernel", _kernel), Param("divisor", _number, 1), Param("offset", _number, 0),
        Param("border", _choice(_BORDERS, _L.CONVOLUTION_FLAG), "extend", "'extend' (edges replicated), 'inner' (border pixels keep "
              "the source) or 'create'")], mask=True, reach=_kernel_reach, prepare=_convolve_steps),
    Op("convolve_abs", _L.Convolution, "ConvolveABS", "As convolve, but a negative offset + q becomes offset - q.",
       [Param("kernel", _kernel), Param("divisor", _number, 1), Param("offset", _number, 0),
        Param("border", _choice(_BORDERS, _L.CONVOLUTION_FLAG), "extend")], mask=True, reach=_kernel_reach, prepare=_convolve_steps),
    Op("prewitt", _L.EdgeDetection, "Prewitt", "Prewitt edge image.",
       [Param("direction", _choice(_DIRECTIONS, _L.PREWITT_FLAG), "diagonal")], mask=True, reach=_ONE),
    Op("sobel", _L.EdgeDetection, "Sobel3", "3 x 3 Sobel edge image.",
       [Param("direction", _choice(_DIRECTIONS, _L.SOBEL_FLAG), "diagonal")], mask=True, reach=_ONE),
    Op("laplacian", _L.EdgeDetection, "Laplacian3", "3 x 3 Laplacian edge image; the one-pixel border is 0.",
       reach=_ONE),
    Op("blur", _L.Filter, "Blur", "3 x 3 blur (0.03125 around, 0.75 centre), edges replicated.", mask=True,
       reach=_ONE),
    Op("sharpen", _L.Filter, "Sharpen", "3 x 3 sharpening (-0.1 around, 1.8 centre) over the whole image.",
       reach=_ONE),
    Op("median", _L.Filter, "Median", "3 x 3 median of every inner pixel; the one-pixel border keeps the source.",
       reach=_ONE),
    Op("remove_noise", _L.Filter, "RemoveRandomNoise", "The 3 x 3 median only where |8 x centre - sum of the 8 "
       "neighbours| > threshold.", [Param("threshold", _int)], reach=_ONE),
    Op("erode", _L.MorphologicProcessing, "Erode", "Grey erosion: minimum over a (2 radius + 1)^2 square, edges "
       "replicated.", [Param("radius", _radius)], mask=True, reach=lambda a: a["radius"]),
    Op("dilate", _L.MorphologicProcessing, "Dilate", "Grey dilation: maximum over a (2 radius + 1)^2 square, "
       "edges replicated.", [Param("radius", _radius)], mask=True, reach=lambda a: a["radius"]),
    Op("opening", _L.MorphologicProcessing, "Open", "Erosion then dilation over the whole image.",
       [Param("radius", _radius)], reach=lambda a: 2 * a["radius"]),
    Op("closing", _L.MorphologicProcessing, "Close", "Dilation then erosion over the whole image.",
       [Param("radius", _radius)], reach=lambda a: 2 * a["radius"]),
    # ---- geometry -------------------------------------------------------------------
    Op("flip", _L.GeometryProcessing, "Flip", "Mirrors the image.",
       [Param("direction", _choice(_FLIPS, _L.GeometryProcessing.FLIP_FLAG), "vertical", "'vertical', 'horizontal' or 'both'")], kind="inplace"),
    Op("resize", _L.GeometryProcessing, "Resize", "Resizes to width x height.",
       [Param("width", _radius), Param("height", _radius),
        Param("method", _choice(_METHODS, _L.GeometryProcessing.INTERPOLATION), "nearest", "'nearest' or 'bilinear'")],
       answer="the bilinear member answers FALSE by design after its work", prepare=_resize_steps),
    Op("rescale", _L.GeometryProcessing, "Resize", "Resizes by a scale factor (nearest neighbour).",
       [Param("scale", _float)], prepare=lambda o, a, i, d: a + [DEST]),
    Op("crop", _L.MiscProcessing, "Crop", "The part inside rect (left, top, right, bottom), edges included.",
       [Param("rect", _rect)], kind="inplace"),
    Op("zoom", _L.GeometryProcessing, "ResizeEx", "Zooms by `scale` into a width x height image, the zoomed grid "
       "scrolled to `phase` (x, y); the result's (0, 0) shows a's (0, 0).",
       [Param("scale", _float), Param("phase", _pair), Param("width", _radius), Param("height", _radius)],
       prepare=_zoom_steps),
    Op("copy_region", _L.MiscProcessing, "CopyTo", "The part inside rect (left, top, right, bottom), edges "
       "included, into a new image of that size.", [Param("rect", _rect)], prepare=_copy_steps),
    Op("paste", _L.MiscProcessing, "PasteFrom", "Pastes `source` (same layout) with its (0, 0) on rect's top left "
       "corner; with `source_mask` (uint8, the source's size) only where it is non-zero. Rectangles one pixel "
       "wide or high are refused.", [Param("source", _image), Param("rect", _rect),
                                     Param("source_mask", _optional_image, None)], kind="inplace",
       prepare=lambda o, a, i, d: a if a[2] is not None else a[:2]),
    Op("fill", _L.Drawing, "SetFill", "Sets the pixels inside rect (edges included; None: all) to `value`, a "
       "sample or a tuple of one sample per channel.", [Param("value", _pixel), Param("rect", _rect, None)],
       kind="inplace", prepare=lambda o, a, i, d: [a[0], _whole(i) if a[1] == WHOLE else a[1]]),
]

# Colour conversions: a destination of the stated model and bits, made first.
_CONVERSIONS = [
    ("rgb_to_gray", "RGBtoGray", _L.CM_RGB, (_L.CM_GRAY, 8), True),
    ("gray_to_rgb", "GraytoRGB", _L.CM_GRAY, (_L.CM_RGB, 8), True),
    ("rgb_to_rgba", "RGBtoRGBA", _L.CM_RGB, (_L.CM_RGBA, 8), False),
    ("rgba_to_rgb", "RGBAtoRGB", _L.CM_RGBA, (_L.CM_RGB, 8), False),
    ("rgb_to_cmyk", "RGBtoCMYK", _L.CM_RGB, (_L.CM_CMYK, 8), False),
    ("cmyk_to_rgb", "CMYKtoRGB", _L.CM_CMYK, (_L.CM_RGB, 8), False),
    ("rgb_to_hsi", "RGBtoHSI", _L.CM_RGB, (_L.CM_HSI, 32), False),
    ("hsi_to_rgb", "HSItoRGB", _L.CM_HSI, (_L.CM_RGB, 8), False),
    ("rgb_to_hls", "RGBtoHLS", _L.CM_RGB, (_L.CM_HLS, 32), False),
    ("hls_to_rgb", "HLStoRGB", _L.CM_HLS, (_L.CM_RGB, 8), False),
    ("rgb_to_hsv", "RGBtoHSV", _L.CM_RGB, (_L.CM_HSV, 32), False),
    ("rgb_to_ycbcr", "RGBtoYCbCr", _L.CM_RGB, (_L.CM_YCbCr, 32), False),
    ("ycbcr_to_rgb", "YCbCrtoRGB", _L.CM_YCbCr, (_L.CM_RGB, 8), False),
]
_WEIGHTS = [Param("wr", _float, 0.299), Param("wg", _float, 0.587), Param("wb", _float, 0.114)]
for _name, _member, _src, _dest, _weighted in _CONVERSIONS:
    OPS.append(Op(_name, None, _member, f"ColorProcessing.{_member} into a new model {int(_dest[0])}, "
                  f"{_dest[1]}-bit image (channels in memory order).", _WEIGHTS if _weighted else [],
                  src_model=int(_src), dest=_dest))


# ---- the generic call ---------------------------------------------------------------

def _mask_image(mask, image):
    m = _L.Image(mask, -1, "mask")
    require(m.m_nChannel == 1 and m.m_nBitsPerSample == 8, "mask", "must be uint8 with one channel")
    require((m.m_nWidth, m.m_nHeight) == (image.m_nWidth, image.m_nHeight), "mask", "must have the image's size")
    return m


def _run(op, values):
    a = values["a"]
    inplace = values.get("inplace", False)
    if inplace:
        require(isinstance(a, np.ndarray) and a.flags.writeable, "a", "a read-only array cannot be changed in place")
    image = _L.Image(a, op.src_model, "a")
    args = [p.convert(values[p.name], p.name) for p in op.params]
    mask = _mask_image(values["mask"], image) if values.get("mask") is not None else None
    dest = _L.Image()
    if op.dest is not None:
        dest.Create(op.dest[0], op.dest[1], image.m_nWidth, image.m_nHeight)
        ok = getattr(_L.ColorProcessing, op.member)(image, dest, *args)
    else:
        obj = op.cls(image)
        if mask is not None:
            obj.SetAOIImage(mask)
        if op.prepare is not None:
            args = op.prepare(obj, args, image, dest)
        elif op.kind == "dest":
            args = [DEST] + args
        ok = getattr(obj, op.member)(*[dest if x is DEST else x for x in args])
        if op.kind == "inplace":
            dest = image
    if not ok and op.answer is None:
        raise LumoraError(f"{op.name}: the library refused the {image.m_nWidth}x{image.m_nHeight} image "
                          f"(colour model {int(image.m_ColorModel)}, {image.m_nBitsPerSample}-bit) with these "
                          f"arguments")
    out = dest.array
    if inplace:
        np.copyto(a, out)
        return a
    return out


def _document(op, params):
    lines = [op.doc, "", "Parameters", "----------",
             "a : ndarray", "    H x W or H x W x C, uint8, uint16 or float32; channels in memory order "
             "(blue first for colour)."]
    for p in params[1:]:
        lines.append(f"{p.name}" + ("" if p.default is inspect.Parameter.empty else f" (default {p.default!r})"))
        text = p.doc or (p.convert.__doc__ or "").strip()
        if text:
            lines.append(f"    {text}")
    lines += ["", "Returns", "-------", "ndarray sharing the memory of the result image."
              + (" `inplace=True` writes the result into `a` and returns `a`." if op.kind == "inplace" else "")]
    rules = ["Raises LumoraError (a ValueError) naming the argument for a bad array or value, and when the "
             "library refuses the image."]
    if op.answer:
        rules.append(f"Answer: {op.answer}.")
    if op.reach is not None:
        rules.append("Tileable with lumora.dask.apply.")
    if op.dest is None:
        rules.append(f"Class layer: {op.cls.__name__}.{op.member}.")
    return "\n".join(lines + ["", "Rules", "-----"] + rules)


def _make(op):
    P = inspect.Parameter
    params = [Param("a", None)] + list(op.params)
    signature = [P("a", P.POSITIONAL_OR_KEYWORD)]
    signature += [P(p.name, P.POSITIONAL_OR_KEYWORD, default=p.default) for p in op.params]
    if op.mask:
        params.append(Param("mask", None, None, "optional uint8 H x W mask: pixels where it is 0 keep the input"))
        signature.append(P("mask", P.KEYWORD_ONLY, default=None))
    if op.kind == "inplace" and op.name != "crop":
        params.append(Param("inplace", None, False, "write the result into `a` (which must be writable)"))
        signature.append(P("inplace", P.KEYWORD_ONLY, default=False))
    # A real def, written from the table: Python binds the arguments itself,
    # which costs a fraction of Signature.bind on every call.
    defaults = {p.name: p.default for p in signature}
    parts = []
    for p in signature:
        if p.kind == P.KEYWORD_ONLY and "*" not in parts:
            parts.append("*")
        parts.append(p.name if p.default is P.empty else f"{p.name}=_d[{p.name!r}]")
    text = ", ".join(parts)
    namespace = {"_run": _run, "_op": op, "_d": defaults}
    exec(f"def {op.name}({text}):\n    return _run(_op, locals())\n", namespace)
    function = namespace[op.name]

    function.__name__ = function.__qualname__ = op.name
    function.__module__ = "lumora"  # where it is published, so that it pickles by name
    function.__doc__ = _document(op, params)
    function.op = op
    return function


FUNCTIONS = {op.name: _make(op) for op in OPS}
