#!/usr/bin/env python3
"""Runs velk and its peers on the same jobs, interleaved, and prints medians of wall time and peak memory."""

import argparse
import json
import os
import pathlib
import platform
import re
import shutil
import statistics
import struct
import subprocess
import sys
import time
from dataclasses import dataclass, field

TOP = pathlib.Path(__file__).resolve().parent.parent
WORK = TOP / "build" / "bench"
VELK = TOP / "build" / "release" / "velk"
MAKE_PHOTO = TOP / "build" / "release" / "bench" / "velk_make_photo"
RESULTS = TOP / "docs" / "benchmarks.md"
PROFILES = WORK / "profiles"
CHART = TOP / "docs" / "pictures" / "benchmarks.png"
MARK = "<!-- measured -->"
P3_PROFILE = TOP / "data" / "DisplayP3-v4.icc"
CONTACTS = [f"photo12-{number:02}.jpg" for number in range(1, 13)]
ON_NODE = ["node", str(TOP / "bench" / "canvas" / "OnNode.js"), str(WORK / "node" / "node_modules")]


@dataclass
class Peer:
    name: str
    command: list
    output: str = ""  # what the command writes, removed before each run
    prepare: tuple = ()  # (from, to): a copy made before each run


@dataclass
class Job:
    name: str
    velk: Peer
    peers: list = field(default_factory=list)
    budget: float = 1.0  # of the best peer's wall time


@dataclass
class Measure:
    wall: float
    cpu: float
    peak: float  # MB
    size: int


def path(name):
    return str(WORK / name)


def sharp(script):
    program = f"const sharp=require('{WORK}/node/node_modules/sharp');sharp.concurrency(2);{script}"
    return ["node", "-e", program]


def jobs():
    p24, p12 = path("photo24.jpg"), path("photo12.jpg")

    def velk(*arguments, out):
        return Peer("velk", [str(VELK), *arguments, "--out", path(out), ], path(out))

    def peer(name, *command, out):
        return Peer(name, list(command), path(out))

    return [
        Job("all properties of a 12-megapixel JPEG",
            Peer("velk", [str(VELK), "-g", "all", p12]),
            [Peer("exiv2", ["exiv2", "-pa", p12]), Peer("exiftool", ["exiftool", p12])], 1.0),
        Job("one metadata edit on it",
            Peer("velk", [str(VELK), "-s", "artist", "A. Painter", p12, "--out", path("v.jpg")], path("v.jpg")),
            [Peer("exiv2", ["exiv2", "-M", "set Exif.Image.Artist A. Painter", path("e.jpg")], "", (p12, path("e.jpg"))),
             Peer("exiftool", ["exiftool", "-q", "-Artist=A. Painter", "-o", path("x.jpg"), p12], path("x.jpg"))], 1.0),
        Job("the same edit in place, synced to disk",
            Peer("velk", [str(VELK), "-s", "artist", "A. Painter", path("v2.jpg")], "", (p12, path("v2.jpg"))),
            [Peer("exiv2 (no sync)", ["exiv2", "-M", "set Exif.Image.Artist A. Painter", path("e.jpg")], "",
                  (p12, path("e.jpg"))),
             Peer("exiftool (no sync)", ["exiftool", "-q", "-overwrite_original", "-Artist=A. Painter", path("x2.jpg")],
                  "", (p12, path("x2.jpg")))], 1.0),
        Job("24-megapixel JPEG to 800 pixels",
            velk("-Z", "800", p24, out="v.jpg"),
            [peer("vipsthumbnail", "vipsthumbnail", p24, "-s", "800", "-o", path("p.jpg"), out="p.jpg"),
             Peer("sharp", sharp(f"sharp('{p24}').resize(800).keepMetadata().toFile('{path('s.jpg')}')"), path("s.jpg")),
             peer("imagemagick", "/usr/bin/convert", "-define", "jpeg:size=1600x1600", p24, "-resize", "800x800",
                  path("m.jpg"), out="m.jpg")], 0.65),
        Job("24-megapixel JPEG to half size",
            velk("--resampleWidth", "3000", p24, out="v.jpg"),
            [peer("vips resize", "vips", "resize", p24, path("p.jpg"), "0.5", out="p.jpg"),
             Peer("sharp", sharp(f"sharp('{p24}').resize(3000).keepMetadata().toFile('{path('s.jpg')}')"),
                  path("s.jpg"))], 0.60),
        Job("24-megapixel JPEG turned by 90 degrees, losslessly",
            velk("-r", "90", p24, out="v.jpg"),
            [peer("vips rot (lossy)", "vips", "rot", p24, path("p.jpg"), "d90", out="p.jpg")], 1.0),
        Job("the same against the lossless peer",
            velk("-r", "90", p24, out="v.jpg"),
            [Peer("jpegtran", ["jpegtran", "-copy", "all", "-perfect", "-rotate", "90", "-outfile", path("t.jpg"), p24],
                  path("t.jpg"))], 0.65),
        Job("12-megapixel JPEG turned by 17 degrees",
            velk("-r", "17", p12, out="v.jpg"),
            [peer("vips rotate", "vips", "rotate", p12, path("p.jpg"), "17", out="p.jpg")], 0.80),
        Job("12-megapixel JPEG to PNG",
            velk("-s", "format", "png", p12, out="v.png"),
            [Peer("sharp", sharp(f"sharp('{p12}').keepMetadata().toFile('{path('s.png')}')"), path("s.png")),
             peer("vips", "vips", "copy", p12, path("p.png"), out="p.png")], 0.70),
        Job("4 of 24 megapixels cropped from a JPEG",
            velk("-c", "2000", "2000", p24, out="v.jpg"),
            [peer("vips crop", "vips", "crop", p24, path("p.jpg"), "2000", "1000", "2000", "2000", out="p.jpg")], 0.60),
        Job("12-megapixel JPEG to LZW TIFF",
            velk("-s", "format", "tiff", "-s", "formatOptions", "lzw", p12, out="v.tiff"),
            [peer("vips", "vips", "copy", p12, path("p.tif") + "[compression=lzw]", out="p.tif")], 0.90),
        Job("12-megapixel JPEG matched to another RGB profile",
            velk("--matchTo", str(P3_PROFILE), p12, out="v.jpg"),
            [peer("vips icc_transform", "vips", "icc_transform", p12, path("p.jpg"), str(P3_PROFILE),
                  "--input-profile", "srgb", out="p.jpg")], 0.80),
        script("1200 x 630 card script", "social-card.js", "v-card.png", [], 0.35),
        script("contact sheet of twelve 12-megapixel photos", "contact-sheet.js", "v-sheet.jpg", CONTACTS, 0.33),
        script("greyscale filter of a 12-megapixel photo in JavaScript", "pixel-filter.js", "v-grey.jpg",
               ["photo12.jpg"], 0.75),
    ]


def script(name, sample, output, images, budget):
    """The same sample script in velk and in Node on @napi-rs/canvas."""
    source, files = str(TOP / "samples" / sample), [path(image) for image in images]
    peer_output = path("n" + output[1:])
    return Job(name, Peer("velk", [str(VELK), "--js", source, *files, "--out", path(output)], path(output)),
               [Peer("@napi-rs/canvas", [*ON_NODE, peer_output, source, *files], peer_output)], budget)


def drawing_times(command):
    """Milliseconds by job, as the drawing jobs print them."""
    text = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    return {name: float(time) for name, time in (line.split("\t") for line in text.splitlines() if "\t" in line)}


def drawing_table(runs):
    """What drawing itself takes, measured inside the process."""
    source, photo = str(TOP / "bench" / "canvas" / "DrawingJobs.js"), path("photo12.jpg")
    taken = {"velk": [], "peer": []}
    for _ in range(runs):
        taken["velk"].append(drawing_times([str(VELK), "--js", source, photo]))
        taken["peer"].append(drawing_times([*ON_NODE, path("n-unused.png"), source, photo]))
    yield "| on a canvas of 1600 x 1200 | velk | @napi-rs/canvas | ratio | budget |"
    yield "|---|---|---|---|---|"
    for name in taken["peer"][0]:
        own, peer = (statistics.median(run[name] for run in taken[tool]) for tool in ("velk", "peer"))
        met = "met" if own <= peer else "**missed**"
        yield f"| {name} | {own:.0f} ms | {peer:.0f} ms | **{own / max(peer, 1):.2f}** | 1.00 {met} |"


def run_once(peer):
    if peer.output and os.path.exists(peer.output):
        os.unlink(peer.output)
    if peer.prepare:
        shutil.copyfile(*peer.prepare)
        os.sync()
    begin = time.monotonic()
    child = subprocess.Popen(peer.command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    _, status, usage = os.wait4(child.pid, 0)
    wall = time.monotonic() - begin
    errors = child.stderr.read()
    child.stderr.close()
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit(f"{' '.join(peer.command)}: status {child.returncode}\n{errors.decode()}")
    size = os.path.getsize(peer.output) if peer.output else 0
    return Measure(wall * 1000, (usage.ru_utime + usage.ru_stime) * 1000, usage.ru_maxrss / 1024, size)


def median(measures):
    return Measure(*(statistics.median(getattr(m, name) for m in measures) for name in ("wall", "cpu", "peak", "size")))


def measure(job, runs):
    contenders = [job.velk, *job.peers]
    samples = [[] for _ in contenders]
    for peer in contenders:
        run_once(peer)  # warms caches
    for _ in range(runs):
        for peer, taken in zip(contenders, samples):
            taken.append(run_once(peer))
    return [median(taken) for taken in samples]


def size_text(size):
    return f"{size / 1e6:.1f} MB" if size else ""


def table(chosen, runs):
    yield "| job | tool | wall | CPU | peak memory | file | wall ratio | memory ratio | budget |"
    yield "|---|---|---|---|---|---|---|---|---|"
    for job in chosen:
        own, *others = measure(job, runs)
        best = min(others, key=lambda m: m.wall)
        ratio, memory = own.wall / best.wall, own.peak / best.peak
        met = "met" if ratio <= job.budget else "**missed**"
        yield (f"| {job.name} | velk | {own.wall:.1f} ms | {own.cpu:.1f} ms | {own.peak:.0f} MB | {size_text(own.size)} "
               f"| **{ratio:.2f}** | {memory:.2f} | {job.budget:.2f} {met} |")
        for peer, result in zip(job.peers, others):
            yield (f"| | {peer.name} | {result.wall:.1f} ms | {result.cpu:.1f} ms | {result.peak:.0f} MB "
                   f"| {size_text(result.size)} | | | |")


def single_numbers(runs):
    """Measures without a peer."""
    tiff = path("photo200.tiff")
    profiles = [str(PROFILES / name) for name in sorted(os.listdir(PROFILES))]
    checks = [
        ("`velk --version`", Peer("velk", [str(VELK), "--version"]), "CPU", 4, max(runs, 21)),
        ("thumbnail of the 24-megapixel JPEG", Peer("velk", [str(VELK), "-Z", "800", path("photo24.jpg"), "--out",
                                                             path("v.jpg")], path("v.jpg")), "peak", 30, 3),
        ("200-megapixel strip TIFF to 2000 pixels", Peer("velk", [str(VELK), "-Z", "2000", tiff, "--out",
                                                                  path("v.tiff")], path("v.tiff")), "peak", 120, 1),
        ("all properties of a 3 KB profile", Peer("velk", [str(VELK), "-g", "all", profiles[0]]), "CPU", 4,
         max(runs, 21)),
        ("1,000 such profiles verified", Peer("velk", [str(VELK), "--verify", *profiles]), "wall", 300, runs),
    ]
    measures = {"wall": ("wall", "ms"), "CPU": ("cpu", "ms of CPU"), "peak": ("peak", "MB")}
    yield "| measure | wall | CPU | peak memory | budget |"
    yield "|---|---|---|---|---|"
    for name, peer, what, limit, count in checks:
        result = median([run_once(peer) for _ in range(count)])
        attribute, unit = measures[what]
        met = "met" if getattr(result, attribute) < limit else "**missed**"
        yield (f"| {name} | {result.wall:.1f} ms | {result.cpu:.1f} ms | {result.peak:.1f} MB "
               f"| under {limit} {unit}: {met} |")


def make_inputs():
    WORK.mkdir(parents=True, exist_ok=True)
    for name, size in [("photo24.jpg", (6000, 4000)), ("photo12.jpg", (4000, 3000))]:
        if not (WORK / name).exists():
            subprocess.run([str(MAKE_PHOTO), *map(str, size), path(name)], check=True)
    for name in CONTACTS:
        if not (WORK / name).exists():
            shutil.copyfile(WORK / "photo12.jpg", WORK / name)
    if not (WORK / "photo200.tiff").exists():
        subprocess.run([str(VELK), "-z", "10000", "20000", "-s", "format", "tiff", path("photo24.jpg"), "--out",
                        path("photo200.tiff")], check=True, stdout=subprocess.DEVNULL)
    make_profiles()


def make_profiles():
    """A thousand copies of a profile of version 4 with tabulated curves, 3 KB each."""
    if PROFILES.exists():
        return
    entries = 410
    curve = struct.pack(">4s4xI", b"curv", entries)
    curve += b"".join(struct.pack(">H", round(65535 * (i / (entries - 1)) ** 2.2)) for i in range(entries))
    (WORK / "curve").write_bytes(curve)
    profile = WORK / "profile.icc"
    load = [word for tag in ("rTRC", "gTRC", "bTRC") for word in ("--loadTag", tag, path("curve"))]
    subprocess.run([str(VELK), *load, str(P3_PROFILE), "--out", str(profile)],
                   check=True, stdout=subprocess.DEVNULL)
    subprocess.run([str(VELK), "--repair", str(profile)], check=True, stdout=subprocess.DEVNULL)
    PROFILES.mkdir()
    for i in range(1000):
        shutil.copyfile(profile, PROFILES / f"{i:04}.icc")


def first_line(*command):
    try:
        text = subprocess.run(command, capture_output=True, text=True, check=False).stdout
        return text.splitlines()[0] if text else "?"
    except FileNotFoundError:
        return "not installed"


def machine():
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "?")
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    yield f"- {os.cpu_count()} cores of {model}, {memory:.0f} GiB, Linux {platform.release()}"
    yield f"- {first_line(str(VELK), '--version')}; {first_line('vips', '--version')}; {first_line('exiv2', '--version')}; " \
          f"exiftool {first_line('exiftool', '-ver')}; {first_line('/usr/bin/convert', '-version')}"
    version = first_line("node", "-p", f"require('{WORK}/node/node_modules/sharp/package.json').version")
    turbo = first_line("dpkg-query", "-W", "-f", "${Version}", "libjpeg-turbo-progs")
    yield f"- jpegtran of libjpeg-turbo {turbo}; sharp {version} on Node {first_line('node', '--version')}"


def draw_chart(lines):
    """The ratios of all jobs as a picture, drawn by velk."""
    rows, script = [], WORK / "chart.js"
    for line in lines:
        cells = [cell.strip().strip("*") for cell in line.strip("|").split("|")]
        ratio = {9: 6, 5: 3}.get(len(cells))
        if ratio and re.fullmatch(r"[0-9.]+", cells[ratio]):
            rows.append([cells[0], float(cells[ratio]), float(cells[-1].split()[0])])
    script.write_text(f"const rows = {json.dumps(rows)};\n" + (TOP / "bench" / "Chart.js").read_text())
    subprocess.run([str(VELK), "--js", str(script), "--out", str(CHART)], check=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--runs", type=int, default=11)
    parser.add_argument("--only", default="")
    parser.add_argument("--write", action="store_true")
    options = parser.parse_args()
    make_inputs()
    chosen = [job for job in jobs() if options.only in job.name]
    lines = [*machine(), f"- medians of {options.runs} interleaved runs, files in the page cache", ""]
    for line in lines:
        print(line)
    for line in table(chosen, options.runs):
        print(line, flush=True)
        lines.append(line)
    parts = [] if options.only else [drawing_table(min(options.runs, 5)), single_numbers(options.runs)]
    if options.only == "canvas":
        parts = [drawing_table(options.runs)]
    for part in parts:
        lines.append("")
        for line in part:
            print(line, flush=True)
            lines.append(line)
    if options.write:
        head = RESULTS.read_text().split(MARK)[0]
        RESULTS.write_text(head + MARK + "\n\n" + "\n".join(lines) + "\n")
        draw_chart(lines)


if __name__ == "__main__":
    main()
