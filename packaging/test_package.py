#!/usr/bin/env python3
"""The Debian package end to end: built with cpack from a build tree, installed with dpkg -i,
real programs run through what it installed with nothing else set, then purged whatever
happened. The install is machine-wide: it is made under a lock that every tree of the machine
shares, and a build tree's tov-log must keep to its own tree meanwhile. Needs root and dpkg;
otherwise skipped (exit 77).

Usage: test_package.py BUILD_DIR --sample VK_SAMPLE
"""
import argparse
import fcntl
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

PACKAGE = "tov-logging-layer"
LVP_ICD = "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def dpkg(*args):
    """dpkg, waiting while another process (apt, another tree's test) holds its lock."""
    deadline = time.monotonic() + 300
    while True:
        r = subprocess.run(["dpkg", *args], capture_output=True, text=True)
        if r.returncode == 0 or "lock" not in r.stderr or time.monotonic() > deadline:
            return r
        time.sleep(2)


def check_installed(args, work):
    # Only what a user of the package has: no build tree, no variable of this project.
    env = {k: v for k, v in os.environ.items() if not k.startswith(("TOV_", "VK_", "ASAN_", "UBSAN_"))}
    env.update(PATH="/usr/sbin:/usr/bin:/sbin:/bin", VK_ICD_FILENAMES=LVP_ICD, VK_DRIVER_FILES=LVP_ICD)
    env.pop("LD_PRELOAD", None)

    def run(command, **extra):
        return subprocess.run(command, env=dict(env, **extra), cwd=work, capture_output=True,
                              text=True, timeout=120)

    r = run(["vulkaninfo", "--summary"], VK_INSTANCE_LAYERS="VK_LAYER_TOV_logging")
    check(r.returncode == 0 and {"vkCreateInstance", "vkDestroyInstance"} <= set(r.stderr.splitlines()),
          f"vulkaninfo with VK_INSTANCE_LAYERS exits {r.returncode}, logs no calls: {r.stderr[-300:]}")

    # tov-log from PATH: a filtered verbose run, exported by tov-dump.
    r = run(["tov-log", "--json", "calls.jsonl", "--only", "vkCreate*", "--", args.sample])
    names = set()
    if r.returncode == 0:
        with open(os.path.join(work, "calls.jsonl"), encoding="utf-8") as f:
            names = {record["name"] for record in map(json.loads, f) if record["type"] == "call"}
    check("vkCreateComputePipelines" in names and all(n.startswith("vkCreate") for n in names),
          f"tov-log --json exits {r.returncode}, calls {sorted(names)}: {r.stderr[-300:]}")

    r = run([os.path.join(args.build_dir, "loader", "tov-log"), "--", args.sample], VK_LOADER_DEBUG="layer")
    inserted = [l for l in r.stderr.splitlines() if 'Insert instance layer "VK_LAYER_TOV_logging"' in l]
    check(len(inserted) == 1 and args.build_dir in inserted[0], f"the build tree's tov-log inserts {inserted}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build_dir", type=os.path.abspath)
    parser.add_argument("--sample", required=True, type=os.path.abspath)
    args = parser.parse_args()
    if os.geteuid() != 0 or not shutil.which("dpkg") or not shutil.which("cpack"):
        print("skipped: installing a package needs root, dpkg and cpack")
        sys.exit(77)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("stopped"))  # still purges on the way out
    work = tempfile.mkdtemp(prefix="tov_package_")
    try:
        built = subprocess.run(["cpack", "--config", os.path.join(args.build_dir, "CPackConfig.cmake"),
                                "-B", work], capture_output=True, text=True, timeout=600)
        debs = [os.path.join(work, f) for f in os.listdir(work) if f.endswith(".deb")]
        if built.returncode != 0 or len(debs) != 1:
            sys.exit(f"cpack failed:\n{built.stdout}\n{built.stderr}")
        depends = subprocess.run(["dpkg-deb", "-f", debs[0], "Depends"], capture_output=True, text=True).stdout
        check(all(p in depends for p in ("libvulkan1", "python3", "libstdc++6")), f"Depends: {depends}")
        with open("/tmp/tov-logging-layer-package.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            try:
                installed = dpkg("-i", debs[0])
                check(installed.returncode == 0, f"dpkg -i fails: {installed.stderr}")
                if installed.returncode == 0:
                    check_installed(args, work)
            finally:
                removed = dpkg("--purge", PACKAGE)
                check(removed.returncode == 0, f"dpkg --purge fails: {removed.stderr}")
        check(not os.path.exists("/usr/bin/tov-log"), "files are left after the package is purged")
    finally:
        shutil.rmtree(work, ignore_errors=True)
    if failures:
        sys.exit(f"{len(failures)} check(s) failed")
    print("ok")


if __name__ == "__main__":
    main()
