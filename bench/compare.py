#!/usr/bin/env python3
"""Side-by-side timing of velmora against the established tool for the same work.

usage: compare.py scan VELMORA HOME CATALOGUE   # direct-mode scan of all roots vs `du -sk` over them

Prints one Markdown table row per comparison: the command pair, mean wall times (hyperfine,
warm cache, several runs), the ratio velmora / reference, and velmora's peak memory.
"""
import json, os, subprocess, sys, tempfile, urllib.parse


def hyperfine(commands, runs=10, warmup=3):
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run(["hyperfine", "-N", "--style", "none", "--warmup", str(warmup), "--runs", str(runs),
                        "--export-json", out.name, *commands], check=True, stdout=subprocess.DEVNULL)
        data = json.load(open(out.name))
    return [r["mean"] for r in data["results"]], [r["stddev"] for r in data["results"]]


def peak_rss_mib(argv):
    res = subprocess.run(["/usr/bin/time", "-f", "%M", *argv], stdout=subprocess.DEVNULL,
                         stderr=subprocess.PIPE, text=True, check=True)
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
    (ours, theirs), (sd_ours, sd_theirs) = hyperfine([quote(cmd), quote(du)])
    files = sum(len(f) for r in roots for _, _, f in os.walk(r))
    mem = peak_rss_mib(cmd)
    print(f"| direct-mode scan ({catalogue} catalogue), {len(roots)} roots, {files} files | velmora {ours*1000:.0f} ms ± {sd_ours*1000:.0f} "
          f"| du -sk {theirs*1000:.0f} ms ± {sd_theirs*1000:.0f} | **{ours/theirs:.2f}** | {mem:.1f} MiB |")


if __name__ == "__main__":
    kind = sys.argv[1]
    {"scan": scan}[kind](*sys.argv[2:])
