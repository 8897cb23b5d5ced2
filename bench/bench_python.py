#!/usr/bin/python3
"""Python package timings, printed as a table.

1. Call overhead: lumora.blur(a) (copy in, Blur into a new image, array view
   out) and the class layer (Filter(image).Blur(dest) on an image made
   beforehand) against the same C++ call timed by lumora_bench
   (BM_BindingBlur_Cpp), on RGB 8-bit images of 64x64 and 1920x1080.
2. Dask: erode(radius=2) over a 16k x 16k grey image, tiled with
   lumora.dask on a LocalCluster of two single-threaded workers, against one
   process running lumora.erode on the whole image with two threads.

    PYTHONPATH=build/python /usr/bin/python3 bench/bench_python.py [--bench build/bin/lumora_bench] [--side 16384]

Run on a shared machine, the numbers are noisy: each is the best of several
repeats, and the ratios matter more than the times.
"""
import argparse
import json
import subprocess
import time
import timeit

import numpy as np

import lumora


def best(call, number, repeat=5):
    return min(timeit.repeat(call, number=number, repeat=repeat)) / number


def cpp_times(bench):
    out = subprocess.run([bench, "--benchmark_filter=BM_BindingBlur_Cpp", "--benchmark_format=json",
                          "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True).stdout
    times = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            size = tuple(int(v) for v in b["run_name"].split("/")[1:3])
            times[size] = b["real_time"] * {"us": 1e-6, "ms": 1e-3, "ns": 1e-9}[b["time_unit"]]
    return times


def overhead(bench):
    cpp = cpp_times(bench) if bench else {}
    print("Blur, RGB 8-bit          C++ call    class layer   function    function - C++")
    for width, height in ((64, 64), (1920, 1080)):
        a = np.random.default_rng(1).integers(0, 256, (height, width, 3), dtype=np.uint8)
        image = lumora.Image(a)
        number = 2000 if width == 64 else 20
        members = best(lambda: lumora.Filter(image).Blur(lumora.Image()), number)
        function = best(lambda: lumora.blur(a), number)
        c = cpp.get((width, height), float("nan"))
        print(f"{width:5d} x {height:<5d}          {c * 1e6:9.1f} us {members * 1e6:9.1f} us {function * 1e6:9.1f} us"
              f" {(function - c) * 1e6:9.1f} us  (function / C++ = {function / c:.2f})")


def one_thread():
    import lumora
    lumora.set_thread_count(1)


def dask_run(side):
    import dask.array as da
    from distributed import Client, LocalCluster, wait

    import lumora.dask as ldask

    chunk = 4096
    a = np.random.default_rng(2).integers(0, 256, (side, side), dtype=np.uint8)
    lumora.set_thread_count(2)
    start = time.perf_counter()
    whole = lumora.erode(a, 2)
    one = time.perf_counter() - start
    print(f"\nerode(radius=2), {side} x {side} grey 8-bit")
    print(f"  one process, 2 threads:          {one:7.2f} s")
    with LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1", dashboard_address=None) as cluster, \
            Client(cluster) as client:
        client.run(one_thread)
        x = da.from_array(a, chunks=chunk).persist()  # the image already on the workers, as a cluster holds it
        wait(x)
        # One run: a second one of the same graph would find its results already held.
        start = time.perf_counter()
        y = ldask.apply(x, "erode", radius=2).persist()
        wait(y)
        tiled = time.perf_counter() - start
        print(f"  dask, 2 workers x 1 thread:      {tiled:7.2f} s   (chunks {chunk} x {chunk}; tiled / one = "
              f"{tiled / one:.2f})")
        # Equality on a band across chunk seams, not the whole result: fetching it would time the network.
        band = y[chunk - 8:chunk + 8].compute()
        print(f"  tiled equals whole image across a seam: {np.array_equal(band, whole[chunk - 8:chunk + 8])}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--bench", default="build/bin/lumora_bench", help="lumora_bench for the C++ times ('' skips)")
    parser.add_argument("--side", type=int, default=16384, help="side of the Dask image (0 skips)")
    options = parser.parse_args()
    overhead(options.bench)
    if options.side:
        dask_run(options.side)


if __name__ == "__main__":
    main()
