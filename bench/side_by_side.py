#!/usr/bin/env python3
"""Times qorsc against the renderers Debian ships, page by page, as one Markdown table.

For every page of every PDF in the corpus and every resolution, each renderer runs
aliased and on one thread, `--runs` times; the table gives the median wall time and
the median peak resident memory of each, qorsc's time over the fastest peer's, and
whether qorsc warned that something on the page is not supported (such a page is
not drawn completely, so its time says less). The last rows give the geometric mean
of the ratios per resolution and over everything.

  bench/side_by_side.py                       every corpus page at 300 and 1200 dpi
  bench/side_by_side.py --dpi 300 --runs 1 --files text_fonts.pdf,rw_tk_logo_eps.pdf
  bench/side_by_side.py -o table.md DIR       DIR/*.pdf, table also written to table.md

Renderers (all single-threaded, no anti-aliasing):
  qorsc      qorsc render FILE -p N -r DPI --threads 1 -f pam   (auto plates)
  gs-sep     gs -sDEVICE=tiffsep  -dGraphicsAlphaBits=1 -dTextAlphaBits=1 -dNumRenderingThreads=1
  gs-cmyk    gs -sDEVICE=tiff32nc (same options)
  mutool     mutool draw -A 0 -c cmyk -o x.pam FILE N

Wall time is measured around the process, peak memory is the process's own maximum
resident set (wait4). Output goes to a temporary directory emptied after every run.
Wall times only mean something on a quiet machine: run it where nothing else runs;
`--measure cpu` reports user + system seconds instead, steadier on a shared one.
"""

import argparse
import math
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PEERS = ("gs-sep", "gs-cmyk", "mutool")
GS_COMMON = ["-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-dGraphicsAlphaBits=1",
             "-dTextAlphaBits=1", "-dNumRenderingThreads=1"]


def command(renderer, qorsc, pdf, page, dpi, out):
    if renderer == "qorsc":
        return [qorsc, "render", str(pdf), "-p", str(page), "-r", str(dpi), "--threads", "1",
                "-f", "pam", "-o", str(out / "page-%d.pam")]
    if renderer in ("gs-sep", "gs-cmyk"):
        device = "tiffsep" if renderer == "gs-sep" else "tiff32nc"
        return ["gs", *GS_COMMON, f"-sDEVICE={device}", f"-r{dpi}", f"-dFirstPage={page}",
                f"-dLastPage={page}", "-o", str(out / "page.tif"), str(pdf)]
    if renderer == "mutool":
        return ["mutool", "draw", "-q", "-A", "0", "-c", "cmyk", "-r", str(dpi), "-o",
                str(out / "page.pam"), str(pdf), str(page)]
    raise ValueError(renderer)


def run_once(argv, out, timeout, cpu=False):
    """((seconds, peak MB), stderr text) of one run; (None, why) when it failed. The
    seconds are wall time, or user + system time with `cpu`."""
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir()
    err_path = out.parent / "stderr.txt"
    with open(err_path, "wb") as err:
        start = time.monotonic()
        process = subprocess.Popen(argv, stdout=subprocess.DEVNULL, stderr=err)
        deadline = None if timeout is None else start + timeout
        while True:
            pid, status, usage = os.wait4(process.pid, os.WNOHANG)
            if pid != 0:
                break
            if deadline is not None and time.monotonic() > deadline:
                process.kill()
                _, status, usage = os.wait4(process.pid, 0)
                status = -1
                break
            time.sleep(0.005)
        seconds = time.monotonic() - start
    process.returncode = 0  # reaped above; keeps Popen from waiting again
    shutil.rmtree(out, ignore_errors=True)
    text = err_path.read_text(errors="replace")
    if status == -1:
        return None, f"stopped after {timeout:g} s"
    if status != 0:
        return None, text or f"exit status {os.waitstatus_to_exitcode(status)}"
    if cpu:
        seconds = usage.ru_utime + usage.ru_stime
    return (seconds, usage.ru_maxrss / 1024.0), text


def page_count(qorsc, pdf):
    info = subprocess.run([qorsc, "info", str(pdf)], capture_output=True, text=True)
    match = re.search(r"^Pages:\s*(\d+)", info.stdout, re.MULTILINE)
    return int(match.group(1)) if match else 1


def fmt_time(value):
    return "failed" if value is None else f"{value:.2f} s"


def fmt_mb(value):
    return "" if value is None else f"{value:.0f} MB"


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("corpus", nargs="?", default=os.environ.get(
        "CORPUS_DIR", str(ROOT.parent / "shared" / "corpus")), help="directory of PDF files")
    parser.add_argument("--dpi", default="300,1200", help="resolutions, comma-separated")
    parser.add_argument("--runs", type=int, default=3, help="runs per renderer (median taken)")
    parser.add_argument("--files", default="",
                        help="only these file names of the corpus, comma-separated")
    parser.add_argument("--pages", default="",
                        help="only these page numbers of each file, comma-separated")
    parser.add_argument("--peers", default=",".join(PEERS),
                        help=f"peers to run, comma-separated from {', '.join(PEERS)}")
    parser.add_argument("--timeout", type=float, default=None,
                        help="seconds after which a run is stopped and counted as failed")
    parser.add_argument("--qorsc", default=os.environ.get(
        "QORSC", str(ROOT / "build" / "release" / "tools" / "qorsc")), help="qorsc binary")
    parser.add_argument("--measure", choices=("wall", "cpu"), default="wall",
                        help="wall time (default) or user + system CPU seconds")
    parser.add_argument("-o", "--output", help="also write the table to this file")
    args = parser.parse_args()

    dpis = [int(d) for d in args.dpi.split(",") if d]
    peers = [p for p in args.peers.split(",") if p]
    for p in peers:
        if p not in PEERS:
            parser.error(f"unknown peer {p!r}")
    if not os.access(args.qorsc, os.X_OK):
        parser.error(f"no qorsc binary at {args.qorsc} (build it, or pass --qorsc)")
    for tool in {"gs" if p.startswith("gs") else "mutool" for p in peers}:
        if shutil.which(tool) is None:
            parser.error(f"{tool} is not installed (apt-get install ghostscript mupdf-tools)")
    corpus = Path(args.corpus)
    pdfs = sorted(corpus.glob("*.pdf"))
    if args.files:
        wanted = set(args.files.split(","))
        pdfs = [p for p in pdfs if p.name in wanted]
    if not pdfs:
        parser.error(f"no PDF files to time in {corpus}")
    only_pages = {int(p) for p in args.pages.split(",") if p}

    renderers = ["qorsc", *peers]
    unit = " (CPU)" if args.measure == "cpu" else ""
    header = ["page", "dpi", f"qorsc{unit}", "qorsc memory"]
    for p in peers:
        header += [f"{p}{unit}", f"{p} memory"]
    header += ["ratio to fastest peer", "not supported warning"]
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    print(lines[0])
    print(lines[1])
    ratios = {dpi: [] for dpi in dpis}
    with tempfile.TemporaryDirectory(prefix="qorsc-side-by-side.") as work:
        out = Path(work) / "out"
        for pdf in pdfs:
            count = page_count(args.qorsc, pdf)
            for page in range(1, count + 1):
                if only_pages and page not in only_pages:
                    continue
                for dpi in dpis:
                    times, memory, warned = {}, {}, False
                    for renderer in renderers:
                        samples = []
                        for _ in range(args.runs):
                            argv = command(renderer, args.qorsc, pdf, page, dpi, out)
                            result, stderr = run_once(argv, out, args.timeout,
                                                      args.measure == "cpu")
                            if renderer == "qorsc" and "not supported" in stderr:
                                warned = True
                            if result is None:
                                print(f"  {renderer} failed on {pdf.name} page {page} at {dpi} "
                                      f"dpi: {stderr.strip()[-300:]}", file=sys.stderr)
                                samples = []
                                break
                            samples.append(result)
                        times[renderer] = (statistics.median(s[0] for s in samples)
                                           if samples else None)
                        memory[renderer] = (statistics.median(s[1] for s in samples)
                                            if samples else None)
                    peer_times = [times[p] for p in peers if times[p] is not None]
                    ratio = None
                    if times["qorsc"] is not None and peer_times:
                        ratio = times["qorsc"] / min(peer_times)
                        ratios[dpi].append(ratio)
                    name = pdf.name if count == 1 else f"{pdf.name} p{page}"
                    cells = [f"`{name}`", str(dpi), fmt_time(times["qorsc"]),
                             fmt_mb(memory["qorsc"])]
                    for p in peers:
                        cells += [fmt_time(times[p]), fmt_mb(memory[p])]
                    cells += ["" if ratio is None else f"{ratio:.2f}", "yes" if warned else "no"]
                    line = "| " + " | ".join(cells) + " |"
                    lines.append(line)
                    print(line, flush=True)

    def geomean(values):
        return math.exp(sum(math.log(v) for v in values) / len(values)) if values else None

    summary = []
    for dpi in dpis:
        g = geomean(ratios[dpi])
        if g is not None:
            summary.append(f"| geometric mean of ratios | {dpi} | | | " + "| | " * len(peers)
                           + f"{g:.2f} | |")
    everything = [r for dpi in dpis for r in ratios[dpi]]
    if len(dpis) > 1 and everything:
        summary.append("| geometric mean of ratios | all | | | " + "| | " * len(peers)
                       + f"{geomean(everything):.2f} | |")
    for line in summary:
        print(line)
    lines += summary
    if args.output:
        Path(args.output).write_text("\n".join(lines) + "\n")
        print(f"table written to {args.output}", file=sys.stderr)


if __name__ == "__main__":
    main()
