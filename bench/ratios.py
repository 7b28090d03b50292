#!/usr/bin/env python3
"""Runs the benchmark programs of a folder and prints how the library fares against its peers.

Usage: ratios.py FOLDER [NAME...]     NAME: a program of the folder without its "bench_"; all of
                                      them when none is given

Every row is named "work/who". The ratio is the peer's median time over the library's, of several
repetitions taken in random order in one process: above 1 the library is faster.
"""
import json
import math
import os
import re
import subprocess
import sys

# What is to be reached: (pattern of the work, peer, ratio).
REACH = [
    (r"pool pair ", "tcmalloc", 1.05),
    (r"pool 1000 random, 256", "mimalloc", 1.0),
    (r"pool 1000 random, 1024", "mimalloc", 1.1),
    (r"pool freed by another", "mimalloc", 3.0),
    (r"construct (24|200) B", "std::string", 1.1),
    (r"construct 8 B", "QByteArray", 1.7),
    (r"copy and destroy, 1", "QString", 5.0),
    (r"copy and destroy, 2", "QString", 1.0),
    (r"append 1", "QString", 1.8),
    (r"find near", "memmem", 1.0),
    (r"replace all", "std::string", 1.2),
    (r"compare without case, ASCII", "Abseil", 2.5),
    (r"compare without case, other", "ICU", 3.5),
    (r"lower case of 200 B", "Abseil", 2.0),
    (r"lower case of 200 B", "ICU", 2.0),
    (r"count the characters", "64-bit words", 3.5),
    (r"format %s", "absl::StrFormat", 1.2),
    (r"format without", "absl::StrFormat", 1.7),
    (r"date from", "GDateTime", 2.4),
    (r"compose a date", "Hinnant date", 0.9),
    (r"date to", "strftime", 2.0),
    (r"decimal add, full", "cpp_dec_float", 0.8),
    (r"decimal multiply, money", "cpp_dec_float", 5.0),
    (r"decimal multiply, middle", "cpp_dec_float", 4.0),
    (r"decimal multiply, full", "cpp_dec_float", 1.8),
    (r"decimal divide", "cpp_dec_float", 6.0),
    (r"decimal parse, full", "cpp_dec_float", 4.0),
    (r"decimal to text, full", "cpp_dec_float", 7.0),
    (r"decimal compare", "cpp_dec_float", 0.7),
    (r"configuration file: read", "GKeyFile", 3.0),
    (r"configuration file: write", "GKeyFile", 2.0),
    (r"option look-up, 1", "map+shared_mutex", 2.5),
    (r"option look-up, 2", "map+shared_mutex", 3.4),
    (r"URI parse and read", "uriparser", 2.5),
    (r"URI compose", "GUri", 2.0),
    (r"URI escape", "g_uri_escape_string", 3.0),
    (r"URI unescape", "g_uri_unescape_string", 3.0),
    (r"URI query", "QUrlQuery", 3.0),
    (r"URI query", "Poco::URI", 3.0),
    (r"initialise", "poco", 1.8),
    (r"thread pool", "oneTBB", 1.2),
    (r"blob of 256 MiB$", "pwrite and pread of 4 KiB", 0.9),
    (r"blob of 1 MiB, reused pages$", "pwrite and pread of 4 KiB", 1.2),
    (r"profiler", "two clock_gettime", 0.7),
    (r"variant: ", "QVariant", 1.5),
    (r"variant: ", "Poco::Dynamic::Var", 1.5),
    (r"attributes of 1 KB, pieces", "string_view", 0.7),
    (r"template, parsed once", "fmt", 2.0),
    (r"template, parsed once", "ctemplate", 2.8),
    (r"run /bin/true", "posix_spawn", 0.95),
    (r"insert, ", "SQLite", 5.0),
    (r"insert, ", "vectors", 0.8),
    (r"scan, ", "SQLite", 3.0),
    (r"space, ", "SQLite", 1.0),
    (r"copy, ", "own insert and scan", 1.0),
    (r"spill", "64 KiB batches", 0.7),
    (r"base-64 in lines", "EVP_EncodeBlock", 1.7),
    (r"mail with 100 MB", "base64 -w 76", 1.5),
    (r"(en|de)crypt ", "libsodium", 0.9),
]

# Rows with two threads get a process of their own: one that ever had a second thread keeps paying
# for it in the rows with one.
PASSES = {name: ["-2 thr|2 readers", "2 thr|2 readers"] for name in ("string", "options")}
PASSES["mempool"] = ["-2 thr|another thread", "2 thr|another thread"]


def programs(folder):
    found = (re.fullmatch(r"bench_(\w+)", file) for file in sorted(os.listdir(folder)))
    return [match.group(1) for match in found if match]


def run(folder, name):
    medians = {}
    for only in PASSES.get(name, ["all"]):
        medians.update(run_pass(folder, name, only))
    return medians


def run_pass(folder, name, only):
    environment = dict(os.environ)
    # Allocators loaded beside each other need room for their thread-local data.
    environment["GLIBC_TUNABLES"] = "glibc.rtld.optional_static_tls=65536"
    output = subprocess.run(
        [os.path.join(folder, "bench_" + name), "--benchmark_format=json",
         "--benchmark_repetitions=" + os.environ.get("KQB_BENCH_REPETITIONS", "9"),
         "--benchmark_min_time=" + os.environ.get("KQB_BENCH_MIN_TIME", "0.05"),
         "--benchmark_filter=" + only,
         "--benchmark_enable_random_interleaving=true",
         "--benchmark_report_aggregates_only=true"],
        check=True, stdout=subprocess.PIPE, env=environment).stdout
    medians = {}
    for entry in json.loads(output)["benchmarks"]:
        if entry.get("aggregate_name") != "median":
            continue
        label = re.sub(r"/(real_time|threads:\d+|process_time|iterations:\d+)", "", entry["run_name"])
        medians[label] = entry
    return medians


# Rows about space tell bytes in place of time.
def time_of(entry):
    if "bytes_a_row" in entry:
        return entry["bytes_a_row"]
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[entry["time_unit"]]
    return entry["real_time"] * scale


def reach_of(work, peer):
    for pattern, who, ratio in REACH:
        if who == peer and re.match(pattern, work):
            return ratio
    return None


def print_ratios(medians):
    ours = {label.rpartition("/")[0]: e for label, e in medians.items() if label.endswith("/kqb")}
    for label, entry in sorted(medians.items()):
        work, _, peer = label.rpartition("/")
        if peer == "kqb" or work not in ours:
            continue
        ratio = time_of(entry) / time_of(ours[work])
        reach = reach_of(work, peer)
        wanted = "" if reach is None else f"{reach:g}x"
        verdict = "" if reach is None else ("reached" if ratio >= reach else "MISSED")
        print(f"| {work} | {peer} | {ratio:.2f}x | {wanted} | {verdict} |")
        if os.environ.get("KQB_BENCH_TIMES"):
            print(f"    {time_of(ours[work]):.1f} against {time_of(entry):.1f} ns")
    for label, entry in medians.items():
        if "resident_KB" in entry:
            print(f"| resident: {label} | | {entry['resident_KB'] / 1024:.2f} MB | | |")


def print_growth(medians):
    series = {}
    for label, entry in medians.items():
        work, _, size = label.rpartition("/")
        if work.startswith("growth"):
            series.setdefault(work, []).append((int(size), time_of(entry)))
    for work, points in series.items():
        points.sort()
        steps = [
            f"{b[0]}: {math.log(b[1] / a[1]) / math.log(b[0] / a[0]):.2f}"
            for a, b in zip(points, points[1:])
        ]
        print(f"| {work} | exponent up to | {', '.join(steps)} | at most 1.1 | |")


def main():
    folder, names = sys.argv[1], sys.argv[2:] or programs(sys.argv[1])
    print("| work | peer | ratio | reach | |\n| --- | --- | --- | --- | --- |", flush=True)
    for name in names:
        medians = run(folder, name)
        print_ratios(medians)
        print_growth(medians)
        sys.stdout.flush()


main()
