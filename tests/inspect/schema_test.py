#!/usr/bin/python3
"""Holds what the companion writes as JSON to the schema that is installed.

schema_test.py PROGRAM SCHEMA EXAMPLES
"""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

import jsonschema


def main():
    program, schema_path, examples = sys.argv[1:]
    schema = json.loads(pathlib.Path(schema_path).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    failed = 0

    with tempfile.TemporaryDirectory() as directory:
        for example in pathlib.Path(examples).iterdir():
            shutil.copy(example, directory)

        def run(*words):
            return subprocess.run([program, *words], cwd=directory, capture_output=True,
                                  check=False, timeout=60)

        for form in ("image", "raw", "hex", "source"):
            made = run("convert", "--to", form, "-o", f"board.{form}", "BOARD.SDR")
            assert made.returncode == 0, made.stderr
        path = pathlib.Path(directory)
        (path / "odd.sdr").write_text((path / "BOARD.SDR").read_text().replace(
            "64 5F# 00 00", "64 6E# 00 00").replace("_SDR_TYPE 12", "stray _SDR_TYPE 12"))
        (path / "moved.hex").write_text("\n".join(reversed(
            (path / "board.hex").read_text().splitlines())))
        documents = [("show", "--json", name) for name in
                     ("BOARD.SDR", "EXAMPLE.CFG", "board.image", "board.raw", "board.hex")]
        documents += [("check", "--json", name) for name in ("BOARD.SDR", "odd.sdr", "board.hex")]
        documents += [("diff", "--json", old, new) for old, new in
                      (("OLDBOARD.SDR", "BOARD.SDR"), ("board.hex", "moved.hex"),
                       ("OLDBOARD.SDR", "EXAMPLE.CFG"), ("EXAMPLE.CFG", "OLDBOARD.SDR"))]
        seen = set()
        for words in documents:
            said = run(*words)
            document = json.loads(said.stdout)
            seen |= {key for key, value in document.items() if value}
            for error in validator.iter_errors(document):
                failed += 1
                print(f"{' '.join(words)}: {error.json_path}: {error.message[:200]}")
    # Each list must have held something in one of the documents.
    missing = {"records", "files", "version", "script", "findings", "added", "removed", "moved",
               "changed"} - seen
    if missing:
        failed += 1
        print(f"never seen: {sorted(missing)}")
    document = {"schema": 1, "format": "source", "records": [], "unknown": 1}
    if validator.is_valid(document):
        failed += 1
        print("the schema takes anything")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
