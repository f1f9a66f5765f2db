"""The mutants that change nothing anyone can see, as people found when they looked at survivors.

The list is a text file of blocks that blank lines separate; "#" begins a comment line. A block
tells a mutant by file and function, the original line and the mutated one, then the reason:

    config/cfg_reader.cpp CfgFile::ReadLine
    - while (length > 0) {
    + while (length != 0) {
    `length` is never negative.

It holds for every line of the function with that text. A block that fits no mutant any more is
stale: the code has changed, and the block goes, or follows it.
"""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Equivalent:
    path: str
    function: str
    original: str
    mutated: str


def key_of(mutant):
    return Equivalent(mutant.path, mutant.function, mutant.original, mutant.mutated)


def read_equivalents(text):
    """Maps each Equivalent to its reason."""
    found = {}
    blocks = "\n".join(line for line in text.splitlines() if not line.startswith("#"))
    for block in filter(None, map(str.strip, blocks.split("\n\n"))):
        place, *lines = block.splitlines()
        if len(lines) < 3 or lines[0][:2] != "- " or lines[1][:2] != "+ ":
            raise ValueError(f"a place, two lines and a reason are expected:\n{block}")
        path, _, function = place.partition(" ")
        key = Equivalent(path, function, lines[0][2:], lines[1][2:])
        found[key] = " ".join(lines[2:])
    return found
