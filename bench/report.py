#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Tables of docs/performance.md from the results of a run of bench/run.sh.

report.py RESULTS PREFIX     writes PREFIX.md, PREFIX.json and the chart's data PREFIX-*.dat
report.py --refined RESULTS  prints the table of the refined path: ratios.json and memory-*.json will do
report.py --insert MD DOC    replaces the measured section of DOC
"""
import glob
import json
import os
import statistics
import sys

BEGIN = "<!-- measured: begin (bench/run.sh writes this section) -->"
END = "<!-- measured: end -->"
SIZES = {"176x144": (176, 144), "240x176": (240, 176), "320x239": (320, 239), "320x240": (320, 240),
         "640x480": (640, 480), "720p": (1280, 720), "1080p": (1920, 1080), "4k": (3840, 2160)}
SIZES_SHOWN = ["240x176", "320x239", "320x240", "720p", "1080p", "4k"]
VARIANTS = ["1080p, in place", "1080p, I420", "1080p, I420, full chroma", "1080p, 20 mrad",
            "1080p to 1792x984", "1080p to 1792x984, 20 mrad", "2112x1188 to 1080p, mode 1",
            "2112x1188 to 1080p, mode 2"]
STAGES = ["start workers", "coarse shift", "block search", "model", "smoothing", "warp", "previous frame copy",
          "join workers"]
LEVELS = ["portable", "sse2", "ssse3", "avx2", "neon"]


def read(folder, name):
    with open(os.path.join(folder, name)) as file:
        return file.read()


def read_memory(folder):
    return [json.loads(read(folder, os.path.basename(path)))
            for path in sorted(glob.glob(os.path.join(folder, "memory-*.json")))]


def memory_of(memory, fmt, buffers):
    return next(m for m in memory if (m["in"], m["out"], m["format"], m["buffers"]) ==
                ("1920x1080", "1920x1080", fmt, buffers))


class Results:
    """Medians over the repetitions of each benchmark: microseconds, and counters as they are."""

    def __init__(self, folder):
        data = json.loads(read(folder, "bench.json"))
        self.context = data["context"]
        self.rows = {}
        for row in data["benchmarks"]:
            if row.get("error_occurred"):
                raise SystemExit(f"{row['name']}: {row['error_message']}")
            if row["run_type"] == "iteration":
                self.rows.setdefault(row["run_name"].replace("/process_time", ""), []).append(row)
        self.repetitions = max(len(r) for r in self.rows.values())
        self.turns, self.load, self.worst = (json.loads(read(folder, name + ".json"))
                                             for name in ("ratios", "load", "worst"))
        self.memory = read_memory(folder)
        self.mca = read(folder, "mca.md")
        self.system, ticks = zip(*(line.split("|") for line in read(folder, "system.txt").splitlines()))
        (all_before, stolen_before), (all_after, stolen_after) = (map(int, t.split()) for t in ticks)
        self.stolen = 100 * (stolen_after - stolen_before) / (all_after - all_before)

    def median(self, name, field):
        return statistics.median(row[field] for row in self.rows[name])

    def cpu(self, name):
        return self.median(name, "cpu_time") / 1000

    def wall(self, name):
        return self.median(name, "real_time") / 1000

    def levels(self):
        return [level for level in LEVELS if f"frame/1080p/level_{level}" in self.rows]

    def memory_of(self, fmt, buffers):
        return memory_of(self.memory, fmt, buffers)


def pixels(name):
    width, height = SIZES[name]
    return width * height


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def measures(r):
    """What the library is held to: text, value, its quartiles over the rounds, limit."""
    def ratio(text, name, limit=None):
        q = r.turns["ratios"][name]
        return text, q["of_medians"], f"{q['lower_quartile']:.2f} .. {q['upper_quartile']:.2f}", limit

    separate, in_place = (r.memory_of("nv21", buffers) for buffers in ("separate", "in_place"))
    return [
        ratio("1080p, in scalers", "frame_to_scaler", 1.0),
        ratio("20 mrad of roll against 3 mrad", "roll_20_to_3", 1.6),
        ratio("720p against 1080p, per pixel", "720p_to_1080p", 1.25),
        ratio("4K against 1080p, per pixel", "4k_to_1080p", 1.1),
        ratio("mode 1, 2112x1188 to 1080p, in scalers", "mode_1_to_scaler", 0.7),
        ratio("mode 2, 2112x1188 to 1080p, in scalers", "mode_2_to_scaler"),
        ratio("1080p to 1792x984, in scalers", "unequal_to_scaler"),
        ratio("1080p to 1792x984, SSSE3 at most, in scalers", "unequal_ssse3_to_scaler"),
        ratio("wall time on two cores against one", "two_cores_to_one", 0.75),
        ("four busy processes: mean wall time, default threads against one", r.load["mean_ratio"], "", 1.15),
        ("the same, 99th percentile", r.load["p99_ratio"], "", 2.0),
        ("worst of 1,000 frames against the median, CPU time", r.worst["worst_us"] / r.worst["median_us"], "", 3.0),
        ("allocations a frame", separate["allocations_per_frame"], "", 8),
        ("resident memory in luma planes, two buffers", separate["resident_bytes"] / separate["luma_bytes"], "", 1.55),
        ("resident memory in luma planes, in place", in_place["resident_bytes"] / in_place["luma_bytes"], "", 3.05),
    ]


def measure_table(r):
    return table(("measure", "measured", "half of the rounds", "limit"),
                 [(text, f"{value:.2f}" + ("" if limit is None or value <= limit else " (missed)"), spread,
                   "" if limit is None else f"{limit:g}") for text, value, spread, limit in measures(r)])


def refined_table(turns, memory):
    ratios = [("1080p, bilinear, in scalers", "refined_to_scaler"),
              ("1080p, bicubic, in scalers", "refined_cubic_to_scaler"),
              ("1080p, bicubic, planes, lookahead of 30, in scalers", "refined_later_to_scaler"),
              ("720p against 1080p, bilinear, per pixel", "refined_720p_to_1080p"),
              ("4K against 1080p, bilinear, per pixel", "refined_4k_to_1080p")]
    rows = [(text, f"{turns['ratios'][name]['of_medians']:.2f}",
             f"{turns['ratios'][name]['lower_quartile']:.2f} .. {turns['ratios'][name]['upper_quartile']:.2f}")
            for text, name in ratios]
    for text, buffers in (("frame calls", "refined"), ("lookahead of 30", "lookahead")):
        m = memory_of(memory, "nv21", buffers)
        rows += [(f"resident memory in luma planes, {text}", f"{m['resident_bytes'] / m['luma_bytes']:.2f}", ""),
                 (f"allocations a frame, {text}", f"{m['allocations_per_frame']:.2f}", "")]
    return table(("refined path", "measured", "half of the rounds"), rows)


def stage_table(r):
    one, shared = "stages/1080p/one_thread", "stages/1080p"
    total = sum(r.median(one, s) for s in STAGES)

    def row(text, stages):
        def of(name, end=""):
            return sum(r.median(name, s + end) for s in stages)
        cells = [f"{of(f'stages/{name}'):.0f}" for name in ("720p", "4k", "1080p_to_1792x984")]
        return [text, f"{of(one):.0f}", f"{100 * of(one) / total:.1f} %"] + cells + [f"{of(shared, ', wall'):.0f}"]

    return table(["stage, µs", "1080p", "share", "720p", "4K", "1080p to 1792x984", "1080p, default threads, wall"],
                 [row(stage, [stage]) for stage in STAGES] + [row("all", STAGES)]) + \
        "\nCPU time with one thread, but for the last column.\n"


def frame_table(r):
    def row(name):
        default, one = (f"frame/{name}/{threads}" for threads in ("default", "one_thread"))
        size = name if name in SIZES else "1080p"
        return [name, f"{r.cpu(one):.0f}", f"{1000 * r.cpu(one) / pixels(size):.2f}",
                f"{r.cpu(one) / r.cpu(f'floor/nv12scale/{size}'):.2f}", f"{r.cpu(default):.0f}",
                f"{r.wall(default):.0f}"]
    return table(("frame", "one thread, µs", "ns a pixel", "in scalers", "default threads, CPU µs", "wall µs"),
                 [row(name) for name in SIZES_SHOWN + VARIANTS])


def read_first(path, key, fallback):
    try:
        with open(path) as file:
            for line in file:
                if line.startswith(key):
                    return line.split(":" if ":" in line else "=", 1)[1].strip().strip('"')
    except OSError:
        pass
    return fallback


def machine_text(r):
    cpu = read_first("/proc/cpuinfo", "model name", "unknown processor")
    system = read_first("/etc/os-release", "PRETTY_NAME", "unknown system")
    caches = ", ".join(f"{c['type'][0]}{c['level']} {c['size'] // 1024} KB" for c in r.context["caches"])
    return (f"{cpu}, {r.context['num_cpus']} cores ({caches}), {system}, {r.context['compiler']}, release build, "
            f"{r.context['vector_level']}; medians of {r.repetitions} repetitions in random order. System load "
            f"{r.system[0]} before and {r.system[1]} after; {r.stolen:.1f} % of the processors' time went to "
            f"others.\n")


def report(r):
    return "\n".join([machine_text(r), measure_table(r), stage_table(r), frame_table(r),
                      refined_table(r.turns, r.memory), "### NEON, estimated\n", r.mca])


def figures(r):
    """Medians of everything, for other programs."""
    result = {"context": {k: r.context[k] for k in ("compiler", "vector_level", "num_cpus")},
              "repetitions": r.repetitions, "benchmarks": {}, "turns": r.turns, "load": r.load, "worst": r.worst,
              "memory": r.memory,
              "measures": [{"measure": t, "value": round(v, 4), "limit": m} for t, v, _, m in measures(r)]}
    for name in sorted(r.rows):
        row = {"cpu_us": round(r.cpu(name), 4), "wall_us": round(r.wall(name), 4)}
        for key in STAGES + [s + ", wall" for s in STAGES] + ["items_per_second", "roll_max_mrad", "roll_mean_mrad"]:
            if key in r.rows[name][0]:
                row[key] = round(r.median(name, key), 3)
        result["benchmarks"][name] = row
    return result


def write_chart_data(r, prefix):
    stages = STAGES[1:-1] # one thread has no workers
    with open(prefix + "-stages.dat", "w") as file:
        file.write("level " + " ".join(f'"{s}"' for s in stages) + "\n")
        for level in r.levels():
            values = [r.median(f"stages/1080p/level_{level}", s) / r.cpu("floor/nv12scale/1080p") for s in stages]
            file.write(f'"{level}" ' + " ".join(f"{v:.4f}" for v in values) + "\n")
    with open(prefix + "-sizes.dat", "w") as file:
        for name in SIZES:
            times = [r.cpu(f"frame/{name}/one_thread"), r.cpu(f"floor/nv12scale/{name}"), r.cpu(f"floor/memcpy/{name}")]
            file.write(f'"{name}" ' + " ".join(f"{1000 * t / pixels(name):.4f}" for t in times) + "\n")


def insert(section_path, document_path):
    with open(section_path) as file:
        section = file.read()
    with open(document_path) as file:
        before, rest = file.read().split(BEGIN)
    after = rest.split(END)[1]
    with open(document_path, "w") as file:
        file.write(f"{before}{BEGIN}\n\n{section}\n{END}{after}")


def main():
    if sys.argv[1] == "--insert":
        insert(sys.argv[2], sys.argv[3])
        return
    if sys.argv[1] == "--refined":
        folder = sys.argv[2]
        print(refined_table(json.loads(read(folder, "ratios.json")), read_memory(folder)), end="")
        return
    folder, prefix = sys.argv[1:]
    r = Results(folder)
    with open(prefix + ".md", "w") as file:
        file.write(report(r))
    with open(prefix + ".json", "w") as file:
        json.dump(figures(r), file, indent=1)
        file.write("\n")
    write_chart_data(r, prefix)


main()
