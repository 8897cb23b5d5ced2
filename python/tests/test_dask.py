import numpy as np
import pytest

import lumora as lm
from conftest import random_image

da = pytest.importorskip("dask.array")
import lumora.dask as ldask  # noqa: E402
import lumora.batch as batch  # noqa: E402

UNEVEN = ((20, 7, 40, 30), (10, 33, 3, 37))  # 97 x 83, a chunk thinner than most reaches
TILED = [("erode", dict(radius=3)), ("dilate", dict(radius=9)), ("opening", dict(radius=2)), ("blur", {}),
         ("median", {}), ("laplacian", {}), ("sobel", dict(direction="horizontal")), ("remove_noise", dict(threshold=40)),
         ("convolve", dict(kernel=np.arange(20).reshape(4, 5) % 3 - 1, border="inner")), ("add", dict(value=7.5)),
         ("contrast", dict(coefficient=1.2, size=512))]


@pytest.mark.parametrize("dtype, channels", [(np.uint8, 3), (np.uint16, 1), (np.float32, 4)], ids=str)
def test_tiled_equals_whole_image(client, dtype, channels):
    a = random_image((dtype, channels), height=97, width=83)
    x = da.from_array(a, chunks=UNEVEN + (((channels,),) if channels > 1 else ()))
    tiled = [ldask.apply(x, name, **kwargs) for name, kwargs in TILED]
    for (name, kwargs), got in zip(TILED, client.compute(tiled, sync=True)):
        assert np.array_equal(got, getattr(lm, name)(a, **kwargs), equal_nan=True), name


@pytest.mark.parametrize("call", [lambda x: ldask.apply(x, "resize", width=3, height=3),
                                  lambda x: ldask.apply(x, "add", value=1, rect=(0, 0, 3, 3)),
                                  lambda x: ldask.apply(x, "erode", radius=-2)], ids=["shape", "rect", "radius"])
def test_untileable_calls_are_refused(call):
    with pytest.raises(lm.LumoraError):
        call(da.zeros((8, 8), np.uint8, chunks=4))


def test_batch_goes_on_past_a_bad_file(client, tmp_path, capsys):
    source, target = tmp_path / "in", tmp_path / "out"
    source.mkdir()
    images = {f"f{i}.png": random_image((np.uint8, 3), seed=i) for i in range(3)}
    images["g.pgm"] = random_image((np.uint8, 1))
    for name, a in images.items():
        lm.imwrite(source / name, a)
    (source / "broken.png").write_bytes(b"\x89PNG nothing more")
    status = batch.main(["--scheduler", client.scheduler.address, str(source), str(target), "erode", "radius=2"])
    err = capsys.readouterr().err
    assert status == 1 and "5/5 files, 1 failed" in err and "broken.png: OSError" in err
    for name, a in images.items():
        assert np.array_equal(lm.imread(target / name), lm.erode(a, 2)), name
