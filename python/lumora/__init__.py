"""Lumora: exact legacy 2-D image processing on NumPy arrays.

Two layers:

* the classes with their members as the C++ library declares them, for code
  ported from it: ``lumora.ArithmeticProcessing(img).ADD(5, rect)`` answers
  the member's int; images are ``lumora.Image`` objects (``Image(array)``
  copies an array in, ``img.array`` is a view of its pixels);
* one function per operation, ``lumora.erode(a, radius=3, mask=None)``,
  taking and returning arrays and raising ``lumora.LumoraError`` (a
  ``ValueError``) when an argument is wrong or the library refuses.

Arrays are H x W or H x W x C (C = 1 to 4) of uint8, uint16 or float32, the
channels in the library's memory order: blue, green, red, alpha for colour.
The samples of a row must be contiguous; rows may be padded, as the rows of
every result are (the image store pads them to four bytes). Results share
the memory of the result image, which they keep alive.

``lumora.dask`` tiles the neighbourhood and point operations over dask
arrays; ``python3 -m lumora.batch`` runs one over a folder of files.
"""
import numpy as _np

from ._lumora import *  # noqa: F401,F403  the class layer
from ._lumora import LumoraError, require
from . import _lumora as _L
from ._functions import FUNCTIONS as _FUNCTIONS

globals().update(_FUNCTIONS)
__all__ = sorted(_FUNCTIONS) + ["LumoraError", "imread", "imwrite", "histogram", "shift", "average",
                                "shading_correct", "operations"]


def operations():
    """Names of the functions made from the operation table."""
    return sorted(_FUNCTIONS)


def imread(path):
    """Reads a PNG, PGM/PPM or BMP file with the library's own readers.

    Returns an H x W or H x W x C array (colour in memory order: blue first).
    Indexed and one-bit images come back as RGB. Raises OSError naming the
    file when it cannot be read.
    """
    image = _L.read_image(str(path))
    if image.m_ColorModel in (_L.CM_INDEX, _L.CM_BITMAP):
        rgb = _L.Image(_L.CM_RGB, 8, image.m_nWidth, image.m_nHeight)
        require(_L.ColorProcessing.ConverttoRGB(image, rgb) != 0, "path", f"{path}: cannot convert to RGB")
        image = rgb
    return image.array


def imwrite(path, a, model=None):
    """Writes an array; the format follows the extension (.png, .pgm, .ppm,
    .pnm, .bmp, .npy, .pfm). `model` names the colour model of the samples
    (default: grey, grey+alpha, RGB or RGBA by channel count)."""
    _L.write_image(str(path), _L.Image(a, -1 if model is None else int(model), "a"))


def shift(a, dx, dy, background=0):
    """Moves the content by (dx, dy) (positive: right, down); uncovered pixels
    take `background` (a byte, or a tuple of one byte per channel).

    Returns a new array. Raises LumoraError when the library refuses.
    Class layer: GeometryProcessing.SetBackColor, GeometryProcessing.Shift.
    """
    image = _L.Image(a, -1, "a")
    g = _L.GeometryProcessing(image)
    g.SetBackColor(tuple(background) if isinstance(background, (tuple, list)) else background)
    ok = g.Shift((int(dx), int(dy)))
    if not ok:
        raise LumoraError("shift: the library refused the image")
    return image.array


def histogram(a, channel=0):
    """Counts of every sample value of one channel (2^bits bins, int32).

    8- and 16-bit images only. Raises LumoraError otherwise.
    Class layer: Histogram(image, channel).GetBuffer(HIST_RAW).
    """
    image = _L.Image(a, -1, "a")
    h = _L.Histogram()
    if not h.Create(image, int(channel)):
        raise LumoraError(f"channel: no histogram of channel {channel} of this image")
    return h.GetBuffer(_L.HIST_RAW)


def average(frames):
    """The per-sample truncated mean of equal frames (8- and 16-bit grey, RGB, RGBA).

    As the library defines it, the last row and the last column are 0.
    Class layer: Averaging(ImageArray).AveragingAverage.
    """
    images = [_L.Image(f, -1, f"frames[{i}]") for i, f in enumerate(frames)]
    require(len(images) > 0, "frames", "no frames")
    series = _L.ImageArray()
    for image in images:
        series.Add(image)
    dest = _L.Image()
    if not _L.Averaging(series).AveragingAverage(dest):
        raise LumoraError("frames: the library refused the series")
    return dest.array


def shading_correct(a, blank):
    """Flat-field correction: each sample becomes a x (blank mean of its
    channel) / blank sample. 8- and 16-bit images of 1, 3 or 4 channels are
    corrected; others come back unchanged, as the library answers TRUE.
    Class layer: ShadingCorrect.SetBlankImage, ShadingCorrect.ShadingCorrect.
    """
    image = _L.Image(a, -1, "a")
    s = _L.ShadingCorrect(image)
    s.SetBlankImage(_L.Image(blank, -1, "blank"))
    if not s.ShadingCorrect():
        raise LumoraError("blank: the library refused the blank image (size or layout differs)")
    return image.array
