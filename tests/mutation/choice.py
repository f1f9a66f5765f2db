"""Chooses some of all mutants: the same for the same seed, as far as the code stays as it is."""

import hashlib
import itertools


def choose(mutants_of, count, seed):
    """At most `count` mutants.

    Each file gives in proportion to its lines that have a mutant; of its mutants, the operators
    take turns, and no line is chosen twice while there are others.
    @param mutants_of  maps each file's path to its mutants.
    """
    lines = {path: len({mutant.line for mutant in mutants})
             for path, mutants in mutants_of.items() if mutants}
    chosen = []
    for path, share in _shares(lines, count).items():
        chosen += itertools.islice(_in_turns(mutants_of[path], seed), share)
    return chosen


def _shares(lines, count):
    """Parts `count` in proportion to `lines`; who is nearest to one more gets what is left over."""
    total = sum(lines.values())
    count = min(count, total)
    exact = {path: count * number / total for path, number in lines.items()}
    shares = {path: int(share) for path, share in exact.items()}
    nearest = sorted(lines, key=lambda path: (shares[path] - exact[path], path))
    for path in nearest[:count - sum(shares.values())]:
        shares[path] += 1
    return shares


def _drawn(seed, words):
    return hashlib.sha256(f"{seed} {words}".encode()).hexdigest()


def _in_turns(mutants, seed):
    by_operator = {}
    for mutant in sorted(mutants, key=lambda mutant: _drawn(seed, mutant.id)):
        by_operator.setdefault(mutant.operator, []).append(mutant)
    path = mutants[0].path
    turns = sorted(by_operator, key=lambda operator: _drawn(seed, f"{path} {operator}"))
    lines = set()
    while any(by_operator.values()):
        for operator in turns:
            waiting = by_operator[operator]
            if waiting:
                fresh = (mutant for mutant in waiting if mutant.line not in lines)
                mutant = next(fresh, waiting[0])
                waiting.remove(mutant)
                lines.add(mutant.line)
                yield mutant
