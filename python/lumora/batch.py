"""Runs one operation over a folder of image files on a dask.distributed cluster.

    python3 -m lumora.batch --scheduler ADDRESS|local IN_DIR OUT_DIR OPERATION [ARGS]

ARGS are the operation's arguments after the image, positional or NAME=VALUE
(values are Python literals: 3, 1.5, 'vertical', (0, 0, 9, 9); other text
is taken as a string). Every PNG, PGM/PPM/PNM and BMP file of IN_DIR is read
with the library's own readers on a worker, processed and written to OUT_DIR
under the same name. `local` starts a cluster of two workers on 127.0.0.1.
A progress bar runs while the files are done; a file that fails is reported
by name with its reason and the others go on. The exit status is 1 when any
file failed, 2 for bad arguments.
"""
import argparse
import ast
import os
import sys
import time

IMAGE_SUFFIXES = (".png", ".pgm", ".ppm", ".pnm", ".bmp")


def parse_value(text):
    try:
        return ast.literal_eval(text)
    except (ValueError, SyntaxError):
        return text


def parse_arguments(args):
    """Positional values and NAME=VALUE pairs."""
    positional, named = [], {}
    for arg in args:
        name, sep, value = arg.partition("=")
        if sep and name.isidentifier():
            named[name] = parse_value(value)
        else:
            positional.append(parse_value(arg))
    return positional, named


def process_file(source, target, operation, positional, named):
    """Reads, processes, writes one file. Returns None, or the reason it failed."""
    import lumora
    try:
        image = lumora.imread(source)
        result = getattr(lumora, operation)(image, *positional, **named)
        lumora.imwrite(target, result)
        return None
    except Exception as e:  # one bad file must not stop the batch
        return f"{type(e).__name__}: {e}"


def progress(done, total, failed, stream, width=40):
    filled = width * done // total if total else width
    stream.write(f"\r[{'#' * filled}{'.' * (width - filled)}] {done}/{total} files, {failed} failed")
    stream.flush()


def run(client, in_dir, out_dir, operation, positional, named, stream=None):
    """Submits every image file of in_dir; returns {file name: reason} of the failures."""
    stream = stream or sys.stderr
    from distributed import as_completed
    names = sorted(n for n in os.listdir(in_dir) if n.lower().endswith(IMAGE_SUFFIXES))
    os.makedirs(out_dir, exist_ok=True)
    futures = {}
    for name in names:
        future = client.submit(process_file, os.path.join(in_dir, name), os.path.join(out_dir, name), operation,
                               positional, named, key=f"lumora-{operation}-{name}-{time.monotonic_ns()}", pure=False)
        futures[future] = name
    failures = {}
    progress(0, len(names), 0, stream=stream)
    for done, future in enumerate(as_completed(futures), 1):
        try:
            reason = future.result()
        except Exception as e:  # a worker lost with the file, for instance
            reason = f"{type(e).__name__}: {e}"
        if reason is not None:
            failures[futures[future]] = reason
        progress(done, len(names), len(failures), stream=stream)
    stream.write("\n")
    return failures


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python3 -m lumora.batch", description=__doc__.split("\n")[0])
    parser.add_argument("--scheduler", required=True, help="a scheduler address (tcp://host:port) or 'local'")
    parser.add_argument("in_dir")
    parser.add_argument("out_dir")
    parser.add_argument("operation")
    parser.add_argument("args", nargs="*", help="the operation's arguments after the image")
    options = parser.parse_args(argv)

    import lumora
    if options.operation not in lumora.operations() and options.operation != "shift":
        parser.error(f"unknown operation {options.operation!r}; one of: {', '.join(lumora.operations())}")
    if not os.path.isdir(options.in_dir):
        parser.error(f"{options.in_dir}: not a folder")
    positional, named = parse_arguments(options.args)

    from distributed import Client, LocalCluster
    if options.scheduler == "local":
        cluster = LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1", dashboard_address=None)
        client = Client(cluster)
    else:
        cluster, client = None, Client(options.scheduler)
    try:
        failures = run(client, options.in_dir, options.out_dir, options.operation, positional, named)
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    if failures:
        print(f"{len(failures)} file(s) failed:", file=sys.stderr)
        for name, reason in sorted(failures.items()):
            print(f"  {name}: {reason}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
