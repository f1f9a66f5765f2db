"""Debian's kernel for the guests: fetched once, kept in the user's cache."""

import lzma
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile

META_PACKAGE = "linux-image-amd64"
XZ_MAGIC = b"\xfd7zXZ\x00"
MODULES = ("ipmi_msghandler", "ipmi_si", "ipmi_devintf")  # in the order of their loading


class Unavailable(Exception):
    """The kernel package cannot be had, and none is in the cache."""


def cache_directory():
    base = os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache"
    return pathlib.Path(base) / "tarvek" / "kernel"


def fetch():
    """Gives the directory that holds `kernel` and the modules, as `<name>.ko`."""
    cache = cache_directory()
    cache.mkdir(parents=True, exist_ok=True)
    try:
        return _fetch_newest(cache)
    except (subprocess.CalledProcessError, FileNotFoundError) as error:
        kept = sorted(cache.glob("*.deb.d"), key=lambda entry: entry.stat().st_mtime)
        if kept:
            return kept[-1]
        raise Unavailable("no kernel package: " + _reason(error)) from error


def _fetch_newest(cache):
    package, archive = _newest_archive()
    place = cache / (archive + ".d")
    if place.is_dir():
        return place
    with tempfile.TemporaryDirectory(dir=cache, prefix="new-") as scratch:
        scratch = pathlib.Path(scratch)
        try:
            _apt("apt-get", "download", package, cwd=scratch)
        except subprocess.CalledProcessError:
            _update_lists()
            _apt("apt-get", "download", package, cwd=scratch)
            archive = next(scratch.glob("*.deb")).name
            place = cache / (archive + ".d")
        _unpack(scratch / archive, scratch / "whole", scratch / "kept")
        if not place.is_dir():
            os.rename(scratch / "kept", place)
    return place


def _newest_archive():
    """The package that the meta package stands for, and the name of its archive."""
    try:
        return _look_up()
    except subprocess.CalledProcessError:
        _update_lists()
        return _look_up()


def _update_lists():
    as_root = [] if os.geteuid() == 0 else ["sudo", "--non-interactive"]
    _apt(*as_root, "apt-get", "update")


def _look_up():
    command = ["apt-cache", "depends", META_PACKAGE]
    for line in _apt(*command).splitlines():
        kind, _, package = line.strip().partition(": ")
        if kind == "Depends" and package.startswith("linux-image-"):
            uris = _apt("apt-get", "download", "--print-uris", package)
            return package, uris.split()[1]
    raise subprocess.CalledProcessError(1, command, stderr=f"there is no {META_PACKAGE}")


def _apt(*command, cwd=None):
    return subprocess.run(command, cwd=cwd, check=True, text=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout


def _reason(error):
    lines = (getattr(error, "stderr", None) or "").strip().splitlines()
    return lines[-1] if lines else str(error)


def _unpack(archive, whole, kept):
    subprocess.run(["dpkg", "-x", archive, whole], check=True)
    kept.mkdir()
    (kept / "kernel").write_bytes(_elf_kernel(next(whole.glob("boot/vmlinuz-*")).read_bytes()))
    for module in MODULES:
        [found] = whole.rglob(module + ".ko*")
        content = found.read_bytes()
        if found.suffix == ".xz":
            content = lzma.decompress(content)
        (kept / (module + ".ko")).write_bytes(content)
    shutil.rmtree(whole)


def _elf_kernel(image):
    """Unpacks the kernel proper from a bzImage: QEMU starts it seconds sooner than the image.

    The boot protocol's header tells how many 512-byte sectors of set-up code come first (0 means
    4), and where behind them the compressed kernel stands, which ends in its own length. One that
    is not compressed with xz stays packed: QEMU starts that as well.
    """
    setup_sectors = image[0x1F1] or 4
    offset, length = struct.unpack_from("<II", image, 0x248)
    begin = (setup_sectors + 1) * 512 + offset
    packed = image[begin:begin + length]
    if not packed.startswith(XZ_MAGIC):
        return image
    return lzma.LZMADecompressor().decompress(packed)
