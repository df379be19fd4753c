"""Shard planning and gathering for the genome-wide workflow.

plan: reads the positions of a chromosome's merged SNP set (study genotype file
and, with the panel, the external panel file), cuts the sorted distinct positions
into consecutive ranges of about the shard size and writes the shard list.
The first range is open below, the last open above and each range starts one
base pair after the previous one ends, so every position falls in exactly one.

gather: joins the result files of a chromosome's shards: the header block once
(it is the same in every shard), then every shard's result lines in shard order,
which is map order; a diagnostics file (*.diag, kestrova's -diag table) likewise
keeps its header line once. The joined files are what one unsharded run writes.

Both write under a temporary name and rename when complete. Run as a program:
    shards.py plan SHARD_SNPS OUT.tsv GENOTYPE_FILE [EXTERNAL_FILE]
    shards.py gather OUT_DIR SHARD_DIR...
"""

import os
import shutil
import sys

OPEN = "-"  # an open end of a range in the shard list
COLUMN_RULE = (b"----  ---------------  ---------  ---  ------  ------  --------  -------"
               b"  ---------  ---------\n")


class ShardError(Exception):
    """A problem with the input of a plan or a gather; the message names file and line."""


def read_positions(path):
    """Positions (second field) of every non-blank line, in file order."""
    positions = []
    with open(path, "rb") as f:
        for number, raw in enumerate(f, start=1):
            fields = raw.split(None, 2)
            if not fields:
                continue
            if len(fields) < 2:
                raise ShardError(f"Error: Line {number} of '{path}' has no position.")
            try:
                position = int(fields[1])
            except ValueError:
                raise ShardError(f"Error: Line {number} of '{path}': position "
                                 f"'{fields[1].decode(errors='replace')}' is not a whole number.")
            if positions and position < positions[-1]:
                raise ShardError(f"Error: Line {number} of '{path}': position {position} is below "
                                 f"the previous one ({positions[-1]}); shards need SNPs in "
                                 f"ascending position.")
            positions.append(position)
    return positions


def plan_ranges(positions, shard_snps):
    """(from, to, distinct positions inside) per shard, None for an open end.

    The shard count is the smallest that keeps every shard at or below shard_snps
    distinct positions; the positions are then spread evenly over the shards.
    """
    if shard_snps < 1:
        raise ShardError(f"Error: the shard size must be at least 1 SNP, not {shard_snps}.")
    distinct = sorted(set(positions))
    count = max(1, -(-len(distinct) // shard_snps))
    starts = [k * len(distinct) // count for k in range(count)] + [len(distinct)]
    ranges = []
    for k in range(count):
        first = distinct[starts[k]] if k > 0 else None
        last = distinct[starts[k + 1]] - 1 if k + 1 < count else None
        ranges.append((first, last, starts[k + 1] - starts[k]))
    return ranges


def write_atomically(path, text):
    part = path + ".part"
    with open(part, "w") as f:
        f.write(text)
    os.replace(part, path)


def plan(shard_snps, out_path, position_files):
    positions = []
    for path in position_files:
        positions.extend(read_positions(path))
    lines = ["shard\tfrom\tto\tsnps\n"]
    for k, (first, last, inside) in enumerate(plan_ranges(positions, shard_snps)):
        lines.append(f"{k:04d}\t{OPEN if first is None else first}\t"
                     f"{OPEN if last is None else last}\t{inside}\n")
    write_atomically(out_path, "".join(lines))


def remove_other_sizes(shard_parent, shard_name, plan_parent, plan_name):
    """Removes a chromosome's shards and plans of other shard sizes than the current
    (shard_name, plan_name), so that no stale shard is left to be mistaken."""
    for parent, keep in ((shard_parent, shard_name), (plan_parent, plan_name)):
        if not os.path.isdir(parent):
            continue
        for name in os.listdir(parent):
            if name == keep or name.startswith("."):
                continue
            path = os.path.join(parent, name)
            if os.path.isdir(path):
                shutil.rmtree(path, ignore_errors=True)
            else:
                os.remove(path)


def read_plan(path):
    """[(shard id, from or None, to or None)] of a shard list written by plan."""
    shards = []
    with open(path) as f:
        next(f)
        for line in f:
            shard, first, last, _ = line.rstrip("\n").split("\t")
            shards.append((shard, None if first == OPEN else int(first),
                           None if last == OPEN else int(last)))
    return shards


def range_options(first, last):
    """The -from/-to options of one shard ('' for an open end)."""
    return " ".join(([f"-from {first}"] if first is not None else [])
                    + ([f"-to {last}"] if last is not None else []))


def split_result_file(path):
    """(header block through the column rule, result lines) of one result file."""
    with open(path, "rb") as f:
        text = f.read()
    cut = text.find(COLUMN_RULE)
    if cut < 0:
        raise ShardError(f"Error: '{path}' has no column heads; the shard did not complete.")
    cut += len(COLUMN_RULE)
    return text[:cut], text[cut:]


def split_diag_file(path):
    """(header line, rows) of one diagnostics file."""
    with open(path, "rb") as f:
        text = f.read()
    cut = text.find(b"\n") + 1
    if cut == 0 or not text.startswith(b"SNP-id\t"):
        raise ShardError(f"Error: '{path}' has no header line; the shard did not complete.")
    return text[:cut], text[cut:]


def result_names(shard_dir):
    """The result files of a shard (snakemake keeps a hidden time stamp beside them)."""
    return sorted(name for name in os.listdir(shard_dir) if not name.startswith("."))


def gather(out_dir, shard_dirs):
    if not shard_dirs:
        raise ShardError("Error: no shards to gather.")
    names = result_names(shard_dirs[0])
    if not names:
        raise ShardError(f"Error: shard '{shard_dirs[0]}' holds no result file.")
    for shard in shard_dirs[1:]:
        if result_names(shard) != names:
            raise ShardError(f"Error: shards '{shard_dirs[0]}' and '{shard}' hold different "
                             f"result files.")
    part = out_dir.rstrip("/") + ".part"
    shutil.rmtree(part, ignore_errors=True)
    os.makedirs(part)
    for name in names:
        split = split_diag_file if name.endswith(".diag") else split_result_file
        header, _ = split(os.path.join(shard_dirs[0], name))
        with open(os.path.join(part, name), "wb") as out:
            out.write(header)
            for shard in shard_dirs:
                own_header, lines = split(os.path.join(shard, name))
                if own_header != header:
                    raise ShardError(f"Error: the header of '{os.path.join(shard, name)}' differs "
                                     f"from that of the first shard.")
                out.write(lines)
    shutil.rmtree(out_dir, ignore_errors=True)
    os.replace(part, out_dir)


def main(argv):
    try:
        if len(argv) >= 4 and argv[1] == "plan":
            plan(int(argv[2]), argv[3], argv[4:])
        elif len(argv) >= 4 and argv[1] == "gather":
            gather(argv[2], argv[3:])
        else:
            print(__doc__, file=sys.stderr)
            return 2
    except ShardError as e:
        print(e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
