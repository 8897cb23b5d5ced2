import numpy as np
import pytest

LAYOUTS = [(dtype, channels) for dtype in (np.uint8, np.uint16, np.float32) for channels in (1, 2, 3, 4)]


def layout_id(layout):
    dtype, channels = layout
    return f"{np.dtype(dtype).name}x{channels}"


def random_image(layout, height=23, width=29, seed=7):
    """Samples on the 8-bit scale the point operations use, with a few beyond it."""
    dtype, channels = layout
    rng = np.random.default_rng(seed)
    shape = (height, width) if channels == 1 else (height, width, channels)
    top = 300 if dtype != np.uint8 else 256
    a = rng.integers(0, top, shape)
    return (a + rng.random(shape) if dtype == np.float32 else a).astype(dtype)


@pytest.fixture(params=LAYOUTS, ids=layout_id)
def layout(request):
    return request.param


@pytest.fixture(scope="session")
def client():
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1", dashboard_address=None,
                                  processes=True) as cluster, distributed.Client(cluster) as c:
        yield c
