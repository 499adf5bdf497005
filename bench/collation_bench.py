#!/usr/bin/env python3
"""varoreport --by author and --merge against a plain varoreport row.

Generates one Scopus CSV export of about SIZE MB (current layout: "; "
separated names, "Author full names", "Author(s) ID", DOIs, abstracts of
about 1 KB; authors drawn from a pool so that groups have many papers, and
one record in twenty repeated with its title re-cased and no DOI), then runs
in alternating rounds: the plain row, --by author, --merge, and --merge
--by author, each with -j as --jobs says (without it, the program's
default: a thread per processor). Prints per run the
median wall time and processor time (user and system, which a busy machine
disturbs less), their ratios to the plain row's, and the peak resident
memory against the input's size.

    bench/collation_bench.py [VAROREPORT] [--size MB] [--rounds N] [--jobs N] [--keep FILE]
"""
import argparse
import os
import random
import statistics
import subprocess
import tempfile
import time

WORDS = ("analysis model citation network impact study data method results approach field research evidence "
         "effect measure growth structure pattern system theory review survey sample trend performance").split()
SURNAMES = "Varga Moreau Osei Tanaka Kowalski Haddad Lindqvist Okafor Petrov Novak Fischer Rossi Silva Kim".split()


def generate(path, megabytes, rng):
    authors = [("%s %s." % (rng.choice(SURNAMES), chr(65 + i % 26)), 57000000000 + i) for i in range(20000)]
    header = ("\ufeffAuthors,Author full names,Author(s) ID,Title,Year,Source title,Volume,Issue,Art. No.,"
              "Page start,Page end,Page count,Cited by,DOI,Link,Abstract,Document Type,Source,EID\n")
    with open(path, "w", encoding="utf-8") as f:
        f.write(header)
        n = 0
        while f.tell() < megabytes * 1_000_000:
            team = rng.sample(authors, rng.randint(1, 8))
            title = " ".join(rng.choice(WORDS) for _ in range(rng.randint(6, 14))).capitalize() + " %d" % n
            year = rng.randint(1990, 2025)
            cites = int(rng.paretovariate(1.2)) - 1
            abstract = " ".join(rng.choice(WORDS) for _ in range(150))
            rows = [(title, "10.1000/bench.%d" % n)]
            if n % 20 == 0:
                rows.append((title.upper() + "!", ""))
            for shown, doi in rows:
                f.write('"%s","%s","%s","%s",%d,"Journal %d",1,1,,1,9,9,%d,%s,https://example.org,"%s",Article,Scopus,'
                        '2-s2.0-%d\n' % ("; ".join(a for a, _ in team),
                                         "; ".join("%s (%d)" % (a, i) for a, i in team),
                                         ";".join(str(i) for _, i in team) + ";", shown, year, n % 500, cites, doi,
                                         abstract, n))
            n += 1


def measure(args):
    start = time.perf_counter()
    proc = subprocess.Popen(args, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(proc.pid, 0)
    return time.perf_counter() - start, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024, status


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("varoreport", nargs="?", default="build/release/varoreport")
    parser.add_argument("--size", type=int, default=100)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--jobs", type=int, help="threads (-j); without it, the program's default")
    parser.add_argument("--keep")
    options = parser.parse_args()
    rng = random.Random(25)
    with tempfile.TemporaryDirectory() as tmp:
        path = options.keep or os.path.join(tmp, "department.csv")
        if not os.path.exists(path):
            generate(path, options.size, rng)
        size = os.path.getsize(path)
        runs = {
            "plain row": [],
            "--by author": ["--by", "author"],
            "--merge": ["--merge"],
            "--merge --by author": ["--merge", "--by", "author"],
        }
        times = {name: [] for name in runs}
        cpu = {name: [] for name in runs}
        memory = {name: 0 for name in runs}
        env_args = ["-q", "--year", "2026"] + (["-j", str(options.jobs)] if options.jobs else [])
        for _ in range(options.rounds):
            for name, extra in runs.items():
                elapsed, used, peak, status = measure([options.varoreport] + env_args + extra + [path])
                if status != 0:
                    print("%s failed with status %d" % (name, status))
                times[name].append(elapsed)
                cpu[name].append(used)
                memory[name] = max(memory[name], peak)
        base = statistics.median(times["plain row"])
        cpu_base = statistics.median(cpu["plain row"])
        jobs = "%d jobs" % options.jobs if options.jobs else "default jobs (%d processors)" % os.cpu_count()
        print("input: %.1f MB, %s, load average %.2f" % (size / 1e6, jobs, os.getloadavg()[0]))
        print("%-22s %9s %8s %9s %8s %12s %10s" % ("run", "median s", "ratio", "cpu s", "ratio", "peak MB",
                                                  "of input"))
        for name in runs:
            median = statistics.median(times[name])
            used = statistics.median(cpu[name])
            print("%-22s %9.3f %8.2f %9.3f %8.2f %12.1f %10.2f" % (name, median, median / base, used, used / cpu_base,
                                                                 memory[name] / 1e6, memory[name] / size))


if __name__ == "__main__":
    main()
