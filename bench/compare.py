#!/usr/bin/env python3
"""Side-by-side timing of velmora against the established tool for the same work.

usage: compare.py scan VELMORA HOME CATALOGUE   # direct-mode scan of all roots vs `du -sk` over them
       compare.py trash VELMORA DIR [ITEMS] [RUNS] # moving ITEMS (1000) folders to the Trash vs trash-put
       compare.py huge VELMORA DIR [ITEMS]          # scan and clean of ITEMS (1000000) files in one folder
       compare.py insights VELMORA HOME             # insight scan of a whole Linux home vs `du -sk HOME`
       compare.py localized VELMORA HOME LANGUAGE   # the human scan table in LANGUAGE vs in English

Prints one Markdown table row per comparison: the command pair, wall times (scan: hyperfine
means, warm cache, several runs; trash: medians of RUNS (7) interleaved runs on fresh copies),
the ratio velmora / reference, and velmora's peak memory.
"""
import json, os, shutil, statistics, subprocess, sys, tempfile, time, urllib.parse


# VELMORA_BENCH_COLD=1: every timed run of `scan` and `insights` starts with an empty page cache
# (writes /proc/sys/vm/drop_caches, so root only); fewer runs, no warm-up.
COLD = os.environ.get("VELMORA_BENCH_COLD") == "1"


def hyperfine(commands, runs=10, warmup=3):
    prepare = []
    if COLD:
        prepare = ["--prepare", "sh -c 'sync; echo 3 > /proc/sys/vm/drop_caches'"]
        runs, warmup = 5, 0
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run(["hyperfine", "-N", "--style", "none", "--warmup", str(warmup), "--runs", str(runs),
                        *prepare, "--export-json", out.name, *commands], check=True, stdout=subprocess.DEVNULL)
        data = json.load(open(out.name))
    return [r["mean"] for r in data["results"]], [r["stddev"] for r in data["results"]]


def peak_rss_mib(argv, env=None):
    res = subprocess.run(["/usr/bin/time", "-f", "%M", *argv], stdout=subprocess.DEVNULL,
                         stderr=subprocess.PIPE, text=True, check=True, env=env)
    return int(res.stderr.strip().splitlines()[-1]) / 1024.0


def quote(argv):
    return " ".join(a if a and all(c.isalnum() or c in "/._-=" for c in a) else "'%s'" % a for a in argv)


def scan(velmora, home, catalogue="linux"):
    cmd = [velmora, "--home", home, "--catalogue", catalogue, "scan", "--mode", "direct",
           "--allow-direct", "--json", "--quiet"]
    report = json.loads(subprocess.run(cmd, check=True, stdout=subprocess.PIPE).stdout)
    roots = []
    for url in report["scannedRoots"]:
        path = url[len("file://"):].rstrip("/")
        path = urllib.parse.unquote(path)
        if os.path.isdir(path) and not os.path.islink(path):
            roots.append(path)
    du = ["du", "-sk", *roots]
    # The bare walk (bench/floor/FloorWalk.cpp) on as many threads as there are cores: the
    # least any scanner of these roots can cost on this machine, for reference.
    floor = os.path.join(os.path.dirname(velmora), "velmora_floor_walk")
    commands = [quote(cmd), quote(du)]
    if os.path.exists(floor):
        commands.append(quote([floor, str(os.cpu_count() or 1), *roots]))
    means, sds = hyperfine(commands)
    ours, theirs, sd_ours, sd_theirs = means[0], means[1], sds[0], sds[1]
    files = sum(len(f) for r in roots for _, _, f in os.walk(r))
    mem = peak_rss_mib(cmd)
    cache = "cold cache, " if COLD else ""
    floor_note = f" (bare walk {means[2]/theirs:.2f})" if len(means) > 2 else ""
    print(f"| direct-mode scan ({cache}{catalogue} catalogue), {len(roots)} roots, {files} files | velmora {ours*1000:.0f} ms ± {sd_ours*1000:.0f} "
          f"| du -sk {theirs*1000:.0f} ms ± {sd_theirs*1000:.0f} | **{ours/theirs:.2f}**{floor_note} | {mem:.1f} MiB |")


def trash(velmora, bench_dir, items="1000", runs="7"):
    """Both tools move the same ITEMS confirmed folders (three small files each, one in a
    subfolder, all three days old) from a throw-away home's ~/.cache to that home's Trash
    ($XDG_DATA_HOME/Trash). Every run starts from a fresh copy of the folders and an empty
    Trash and history. velmora cleans from a saved `scan --json` report, so the scan is not
    timed; every re-validation of every item (scope, protection, identity, freshness walk, the
    move's own identity check, the check that the item is gone) and the history entry are.
    The two tools' runs alternate so that both see the same machine state."""
    items, runs = int(items), int(runs)
    template = os.path.join(bench_dir, f"trash-template-{items}")
    home = os.path.join(bench_dir, "trash-home")
    report = os.path.join(bench_dir, "trash-report.json")
    if not os.path.exists(os.path.join(template, ".done")):
        shutil.rmtree(template, ignore_errors=True)
        old = time.time() - 3 * 86400
        for i in range(items):
            folder = os.path.join(template, f"item-{i:04d}")
            os.makedirs(os.path.join(folder, "sub"))
            for name, data in (("one", b"a" * 200), ("two", b"two\n"), ("sub/three", b"three\n")):
                with open(os.path.join(folder, name), "wb") as f:
                    f.write(data)
            for path in (os.path.join(folder, n) for n in ("one", "two", "sub/three", "sub", "")):
                os.utime(path, (old, old))
        open(os.path.join(template, ".done"), "w").close()
    cache = os.path.join(home, ".cache")
    files = os.path.join(home, ".local/share/Trash/files")
    env = {"HOME": home, "XDG_DATA_HOME": os.path.join(home, ".local/share"),
           "XDG_CACHE_HOME": cache, "XDG_CONFIG_HOME": os.path.join(home, ".config"),
           "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"}
    targets = [os.path.join(cache, f"item-{i:04d}") for i in range(items)]

    def fresh():
        shutil.rmtree(home, ignore_errors=True)
        os.makedirs(cache)
        subprocess.run(["cp", "-a", template + "/.", cache], check=True)
        os.remove(os.path.join(cache, ".done"))
        # The copies' (and the previous run's) write-back must not land in the timed run.
        subprocess.run(["sync"], check=True)

    ours = [velmora, "--home", home, "--catalogue", "linux", "clean", "--report", report,
            "--defaults", "--yes", "--quiet"]
    theirs = ["trash-put", *targets]

    def prepare_ours():
        fresh()
        with open(report, "wb") as out:
            subprocess.run([velmora, "--home", home, "--catalogue", "linux", "scan", "--json",
                            "--quiet"], env=env, stdout=out, check=True)
        subprocess.run(["sync"], check=True)

    def timed(argv):
        start = time.perf_counter()
        subprocess.run(argv, env=env, stdout=subprocess.DEVNULL, check=True)
        elapsed = time.perf_counter() - start
        moved = len(os.listdir(files))
        if moved != items:
            sys.exit(f"{argv[0]} moved {moved} of {items} items")
        return elapsed

    times = {"ours": [], "theirs": []}
    for run in range(runs + 1):  # the first round warms the caches and is not counted
        prepare_ours()
        t_ours = timed(ours)
        fresh()
        t_theirs = timed(theirs)
        if run:
            times["ours"].append(t_ours)
            times["theirs"].append(t_theirs)
    prepare_ours()
    mem = peak_rss_mib(ours, env)
    shutil.rmtree(home, ignore_errors=True)
    m_ours, m_theirs = statistics.median(times["ours"]), statistics.median(times["theirs"])
    spread = lambda ts: f"{min(ts)*1000:.0f}–{max(ts)*1000:.0f}"
    print(f"| moving {items:,} confirmed folders to the Trash (saved report; every re-validation) "
          f"| velmora {m_ours*1000:.0f} ms ({spread(times['ours'])}) "
          f"| trash-put {m_theirs*1000:.0f} ms ({spread(times['theirs'])}) "
          f"| **{m_ours/m_theirs:.2f}** | {mem:.1f} MiB |")


def huge(velmora, bench_dir, items="1000000"):
    """ITEMS files of three bytes, two days old, directly in a throw-away home's ~/.cache: every
    one is a candidate. Peak memory and wall time of `scan --json` and of `clean --defaults`
    (which scans again, then moves every item to that home's Trash and writes the history).
    The tree is built once; after the clean the items are put back by rename for the next run."""
    items = int(items)
    home = os.path.join(bench_dir, f"huge-{items}")
    cache = os.path.join(home, ".cache")
    data = os.path.join(home, ".local/share")
    env = {"HOME": home, "XDG_DATA_HOME": data, "XDG_CACHE_HOME": cache,
           "XDG_CONFIG_HOME": os.path.join(home, ".config"), "PATH": "/usr/bin:/bin",
           "LC_ALL": "C.UTF-8"}
    if not os.path.exists(os.path.join(home, ".done")):
        shutil.rmtree(home, ignore_errors=True)
        os.makedirs(cache)
        old = time.time() - 2 * 86400
        for i in range(items):
            path = os.path.join(cache, f"item-{i:07d}")
            fd = os.open(path, os.O_WRONLY | os.O_CREAT, 0o644)
            os.write(fd, b"abc")
            os.close(fd)
            os.utime(path, (old, old))
        open(os.path.join(home, ".done"), "w").close()
    base = [velmora, "--home", home, "--catalogue", "linux"]

    def measured(argv):
        start = time.perf_counter()
        res = subprocess.run(["/usr/bin/time", "-f", "%M", *argv], env=env,
                             stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        elapsed = time.perf_counter() - start
        if res.returncode != 0:
            sys.exit(f"{quote(argv)} failed ({res.returncode}): {res.stderr[-2000:]}")
        return elapsed, int(res.stderr.strip().splitlines()[-1]) / 1024.0

    t_scan, m_scan = measured([*base, "scan", "--json", "--quiet"])
    t_clean, m_clean = measured([*base, "clean", "--defaults", "--yes", "--quiet"])
    files = os.path.join(data, "Trash/files")
    moved = os.listdir(files)
    history = os.path.getsize(os.path.join(data, "Velmora/cleanup-audit-log.json"))
    for name in moved:  # back into place for the next run
        os.rename(os.path.join(files, name), os.path.join(cache, name))
    shutil.rmtree(data)
    if len(moved) != items:
        sys.exit(f"clean moved {len(moved)} of {items} items")
    print(f"| scan of {items:,} candidates in one folder (--json) | {t_scan:.1f} s | | | {m_scan:.0f} MiB |")
    print(f"| clean of the same (scan, move all, history entry of {history:,} bytes) | {t_clean:.1f} s "
          f"| | | {m_clean:.0f} MiB |")


def insights(velmora, home):
    """The whole insight scan of a Linux home (`make_corpus.py home`): storage map, findings,
    duplicates with their reading, system snapshot, JSON. The row gives how much of what
    `du -sk` counts for the home the storage map accounts for, and both wall times."""
    os.environ.update({"HOME": home, "XDG_CONFIG_HOME": os.path.join(home, ".config"),
                       "XDG_CACHE_HOME": os.path.join(home, ".cache"),
                       "XDG_DATA_HOME": os.path.join(home, ".local/share")})
    cmd = [velmora, "--home", home, "--catalogue", "linux", "insights", "--json", "--quiet"]
    report = json.loads(subprocess.run(cmd, check=True, stdout=subprocess.PIPE).stdout)
    mapped = sum(item["sizeBytes"] for item in report["heatmapItems"])
    du = ["du", "-sk", home]
    counted = int(subprocess.run(du, check=True, stdout=subprocess.PIPE, text=True).stdout.split()[0]) * 1024
    floor = os.path.join(os.path.dirname(velmora), "velmora_floor_walk")
    commands = [quote(cmd), quote(du)]
    if os.path.exists(floor):
        commands.append(quote([floor, str(os.cpu_count() or 1), home]))
    means, sds = hyperfine(commands)
    ours, theirs, sd_ours, sd_theirs = means[0], means[1], sds[0], sds[1]
    floor_note = f" (bare walk {means[2]/theirs:.2f})" if len(means) > 2 else ""
    files = sum(len(f) for _, _, f in os.walk(home))
    mem = peak_rss_mib(cmd)
    cache = "cold cache, " if COLD else ""
    print(f"| insight scan of a Linux home ({cache}{files} files): {len(report['heatmapItems'])} map items "
          f"covering {100 * mapped / counted:.1f} % of du, {len(report['duplicateGroups'])} duplicate groups "
          f"| velmora {ours*1000:.0f} ms ± {sd_ours*1000:.0f} | du -sk {theirs*1000:.0f} ms ± {sd_theirs*1000:.0f} "
          f"| **{ours/theirs:.2f}**{floor_note} | {mem:.1f} MiB |")


def localized(velmora, home, language="ja"):
    """The cost of speaking the person's language: the same direct-mode scan with its human
    table (every candidate, skip reason and total) printed in LANGUAGE and in English. The
    preference file is pointed at an empty folder so only --language decides."""
    os.environ["XDG_CONFIG_HOME"] = tempfile.mkdtemp(prefix="velmora-bench-config-")
    def cmd(lang):
        return [velmora, "--home", home, "--catalogue", "linux", "--language", lang, "scan",
                "--mode", "direct", "--allow-direct", "--quiet"]
    report = json.loads(subprocess.run(cmd(language)[:-1] + ["--json", "--quiet"], check=True,
                                       stdout=subprocess.PIPE).stdout)
    means, sds = hyperfine([quote(cmd(language)), quote(cmd("en"))], runs=20, warmup=3)
    ours, theirs = means
    print(f"| human scan table of {len(report['candidates'])} candidates in {language} vs en "
          f"| {language} {ours*1000:.0f} ms ± {sds[0]*1000:.0f} | en {theirs*1000:.0f} ms ± {sds[1]*1000:.0f} "
          f"| **{ours/theirs:.3f}** | |")


if __name__ == "__main__":
    kind = sys.argv[1]
    {"scan": scan, "trash": trash, "huge": huge, "insights": insights,
     "localized": localized}[kind](*sys.argv[2:])
