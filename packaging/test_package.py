#!/usr/bin/env python3
"""The Debian package end to end: builds it with cpack from a build tree, installs it with
dpkg -i, runs real programs through what it installed with nothing else set (the loader finds
the layer's manifest in its standard folder, tov-log is found on PATH), and removes it again,
whatever happened.

The install is machine-wide. It is made under a lock that every tree on the machine shares and
is removed before the lock is let go; while it stands, a build tree's tov-log still uses its own
tree, whose manifest comes first (VK_ADD_LAYER_PATH), so parallel runs of other tests are not
affected. Needs root and dpkg; otherwise the test is skipped (exit 77).

Usage: test_package.py BUILD_DIR --sample VK_SAMPLE [--d3d12-sample D3D12_SAMPLE]
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
MANIFEST = "/usr/share/vulkan/explicit_layer.d/VkLayer_tov_logging.json"
LOCK = "/tmp/tov-logging-layer-package.lock"
SKIP = 77

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def clean_env():
    """Only what a user of the installed package would have: no build tree anywhere."""
    env = {k: v for k, v in os.environ.items()
           if not k.startswith(("TOV_", "VK_", "ASAN_", "UBSAN_")) and k != "LD_PRELOAD"}
    env["PATH"] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
    env["VK_ICD_FILENAMES"] = env["VK_DRIVER_FILES"] = LVP_ICD
    return env


def dpkg(*args):
    """dpkg, waiting while another process (apt, another tree's test) holds its lock."""
    deadline = time.monotonic() + 300
    while True:
        r = subprocess.run(["dpkg", *args], capture_output=True, text=True)
        if r.returncode == 0 or "lock" not in r.stderr or time.monotonic() > deadline:
            return r
        time.sleep(2)


def run(command, env, cwd):
    return subprocess.run(command, env=env, cwd=cwd, capture_output=True, text=True, timeout=120)


def check_installed(args, work):
    env = clean_env()
    listed = dpkg("-L", PACKAGE).stdout.split()
    for path in (MANIFEST, "/usr/bin/tov-log", "/usr/bin/tov-dump", "/usr/bin/tov-calls",
                 "/usr/lib/liblogging_layer.so", "/usr/lib/libtov_vkd3d.so"):
        check(path in listed, f"the package does not install {path}")

    # Any Vulkan program, with only the layer's name set.
    info = run(["vulkaninfo", "--summary"], dict(env, VK_INSTANCE_LAYERS="VK_LAYER_TOV_logging"), work)
    logged = info.stderr.splitlines()
    check(info.returncode == 0, f"vulkaninfo exits {info.returncode}: {info.stderr[-500:]}")
    for name in ("vkCreateInstance", "vkEnumeratePhysicalDevices", "vkDestroyInstance"):
        check(name in logged, f"vulkaninfo: no logger line {name}")

    # tov-log from PATH: a filtered verbose run exported through tov-dump.
    check(shutil.which("tov-log", path=env["PATH"]) == "/usr/bin/tov-log", "tov-log is not on PATH")
    r = run(["tov-log", "--json", "calls.jsonl", "--only", "vkCreate*", "--", args.sample], env, work)
    check(r.returncode == 0, f"tov-log --json exits {r.returncode}: {r.stderr[-500:]}")
    names = set()
    if os.path.exists(os.path.join(work, "calls.jsonl")):
        with open(os.path.join(work, "calls.jsonl"), encoding="utf-8") as f:
            names = {record["name"] for record in map(json.loads, f) if record["type"] == "call"}
    check("vkCreateComputePipelines" in names and all(n.startswith("vkCreate") for n in names),
          f"tov-log --json --only 'vkCreate*': calls {sorted(names)}")
    r = run(["tov-log", "--only", "vkCreateDarw*", "--", args.sample], env, work)
    check(r.returncode == 2 and "matches no call" in r.stderr, f"a bad pattern: {r.returncode} {r.stderr}")

    # Meanwhile a build tree's tov-log keeps to its own tree's layer.
    tree_log = os.path.join(args.build_dir, "loader", "tov-log")
    r = run([tree_log, "--", args.sample], dict(env, VK_LOADER_DEBUG="layer"), work)
    inserted = [l for l in r.stderr.splitlines() if 'Insert instance layer "VK_LAYER_TOV_logging"' in l]
    check(len(inserted) == 1 and os.path.abspath(args.build_dir) in inserted[0],
          f"the build tree's tov-log inserts {inserted}")

    # A Direct3D 12 program on vkd3d, through the installed vkd3d host.
    if args.d3d12_sample:
        r = run(["tov-log", "--", args.d3d12_sample], env, work)
        check(r.returncode == 0 and "ID3D12Device::CreateCommandList" in r.stderr.splitlines(),
              f"tov-log on the Direct3D 12 sample exits {r.returncode}: {r.stderr[-500:]}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build_dir")
    parser.add_argument("--sample", required=True)
    parser.add_argument("--d3d12-sample", default="")
    args = parser.parse_args()
    args.sample = os.path.abspath(args.sample)
    args.build_dir = os.path.abspath(args.build_dir)
    args.d3d12_sample = args.d3d12_sample and os.path.abspath(args.d3d12_sample)
    if os.geteuid() != 0 or not shutil.which("dpkg") or not shutil.which("cpack"):
        print("skipped: installing a package needs root, dpkg and cpack")
        sys.exit(SKIP)
    # A test run that is stopped still removes the package on its way out.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("stopped"))
    work = tempfile.mkdtemp(prefix="tov_package_")
    try:
        built = subprocess.run(["cpack", "--config", os.path.join(args.build_dir, "CPackConfig.cmake"),
                                "-B", os.path.join(work, "package")],
                               capture_output=True, text=True, timeout=600)
        if built.returncode != 0:
            sys.exit(f"cpack failed:\n{built.stdout}\n{built.stderr}")
        deb = next(os.path.join(work, "package", f) for f in os.listdir(os.path.join(work, "package"))
                   if f.endswith(".deb"))
        depends = subprocess.run(["dpkg-deb", "-f", deb, "Depends"], capture_output=True, text=True).stdout
        for needed in ("libvulkan1", "python3", "libstdc++6"):
            check(needed in depends, f"the package does not depend on {needed}: {depends.strip()}")
        with open(LOCK, "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            try:
                installed = dpkg("-i", deb)
                check(installed.returncode == 0, f"dpkg -i fails: {installed.stderr}")
                if installed.returncode == 0:
                    check_installed(args, work)
            finally:
                removed = dpkg("--purge", PACKAGE)
                check(removed.returncode == 0, f"dpkg --purge fails: {removed.stderr}")
        check(not os.path.exists(MANIFEST) and not os.path.exists("/usr/bin/tov-log"),
              "files are left after the package is removed")
    finally:
        shutil.rmtree(work, ignore_errors=True)
    if failures:
        sys.exit(f"{len(failures)} check(s) failed")
    print("ok")


if __name__ == "__main__":
    main()
