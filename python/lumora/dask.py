"""Lumora operations over dask arrays of any size.

``apply(x, "erode", radius=3)`` runs the operation on every chunk of ``x``
with ``map_overlap``: each chunk is given the operation's own reach of its
neighbours (the radius for erosion, twice it for opening, one pixel for the
3 x 3 filters, half the kernel for a convolution, nothing for point
operations), so that every kept pixel sees exactly what it sees in the whole
image. At the true image borders nothing is added (``boundary="none"``): the
operation replicates or keeps its edges there itself, as it does on the
whole image. The tiled result is therefore bit-identical to the whole-image
result.

Regions and masks are in whole-image coordinates and do not tile: ``apply``
refuses them.
"""
import inspect

import dask.array as da

from . import _functions
from ._lumora import require


def reach(operation, **kwargs):
    """The number of neighbouring pixels on each side a result pixel depends on;
    None when the operation cannot be tiled."""
    require(operation in _functions.FUNCTIONS, "operation", f"no operation {operation!r}")
    function = _functions.FUNCTIONS[operation]
    op = function.op
    if op.reach is None:
        return None
    bound = inspect.signature(function).bind(None, **kwargs)
    bound.apply_defaults()
    for name in ("rect", "mask", "inplace"):
        value = bound.arguments.get(name)
        require(value is None or value is False, name, "whole-image coordinates do not tile")
    args = {p.name: p.convert(bound.arguments[p.name], p.name) for p in op.params}
    return op.reach(args)


def _run_block(block, operation, kwargs):
    # By name: workers import the package themselves.
    return _functions.FUNCTIONS[operation](block, **kwargs)


def apply(x, operation, **kwargs):
    """Applies a neighbourhood or point operation to a dask array (H x W or
    H x W x C) chunk by chunk; the result equals the whole-image result.

    `operation` names a function of the package ("erode", "blur", "add", ...);
    `kwargs` are its arguments. Chunks along the channel axis are merged.
    Raises LumoraError for an operation that cannot be tiled.
    """
    depth = reach(operation, **kwargs)
    require(depth is not None, "operation", f"{operation} changes the image's shape or reads it as a whole")
    require(x.ndim in (2, 3), "x", f"expected H x W or H x W x C, got {x.ndim} dimensions")
    if x.ndim == 3:
        x = x.rechunk({2: -1})
    depths = {0: depth, 1: depth, 2: 0}
    if depth == 0:
        return x.map_blocks(_run_block, operation=operation, kwargs=kwargs, dtype=x.dtype)
    return x.map_overlap(_run_block, depth={k: v for k, v in depths.items() if k < x.ndim}, boundary="none",
                         trim=True, dtype=x.dtype, operation=operation, kwargs=kwargs)


def tileable():
    """Names of the operations apply accepts."""
    return sorted(name for name, f in _functions.FUNCTIONS.items() if f.op.reach is not None)


__all__ = ["apply", "reach", "tileable"]