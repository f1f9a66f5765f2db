"""Copies of the source tree."""

import io
import os
import pathlib
import subprocess
import tarfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
PRODUCT = ("config", "driver", "errors", "repository", "sdrfile", "transport")


def is_product(path):
    """Whether a file is source code of the product; `path` is below the source directory."""
    return path.split("/")[0] in PRODUCT and path.endswith((".cpp", ".h"))


class Snapshot:
    """The tree at one moment: the checkout's files as they lie there, or those of a commit."""

    def __init__(self, revision=None):
        self._files = _committed(revision) if revision else _checked_out()  # path -> content, mode

    def product_files(self):
        """Maps the paths of the product's sources to their text."""
        return {path: content.decode() for path, (content, _) in sorted(self._files.items())
                if is_product(path)}

    def write_to(self, directory):
        """Makes `directory` equal to the tree; leaves alone what is so already."""
        for path, (content, mode) in self._files.items():
            copy = directory / path
            if copy.is_file() and copy.read_bytes() == content:
                continue
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(content)
            copy.chmod(mode)
        for copy in [copy for copy in directory.rglob("*") if copy.is_file()]:
            if str(copy.relative_to(directory)) not in self._files:
                copy.unlink()


def _git(*arguments):
    command = ("git", "-C", ROOT, *arguments)
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def _committed(revision):
    with tarfile.open(fileobj=io.BytesIO(_git("archive", revision))) as archive:
        return {member.name: (archive.extractfile(member).read(), member.mode)
                for member in archive if member.isfile()}


def _checked_out():
    listed = _git("ls-files", "-z", "--cached", "--others", "--exclude-standard").decode()
    paths = [path for path in listed.split("\0") if path and (ROOT / path).is_file()]
    return {path: ((ROOT / path).read_bytes(), os.stat(ROOT / path).st_mode & 0o777)
            for path in paths}
