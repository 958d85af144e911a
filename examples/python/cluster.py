"""cluster.py PATTERN [SCHEDULER]: all files of a pattern in one data frame, read by a Dask cluster.

Without the address of a scheduler the cluster is this machine.
"""

import sys

import dask
import nvimport.dask
from distributed import Client, LocalCluster


def main() -> None:
    pattern, *scheduler = sys.argv[1:]
    # A process reads one file at a time, so each thread gets a process.
    cluster = scheduler[0] if scheduler else LocalCluster(threads_per_worker=1, dashboard_address=None)
    with Client(cluster):
        rows, report = nvimport.dask.read_files(
            pattern, files_per_partition=2, on_error="skip", path_column="path"
        )
        # Both at once, so that each file is read once. What is computed here can be a mean as well as
        # the rows: only what is asked for leaves the workers.
        by_file, skipped = dask.compute(rows.groupby("path").size(), report)
    print(f"{by_file.sum()} spectra in {len(by_file)} files, {len(skipped)} files left out")
    for path, text in skipped[["path", "text"]].values:
        print(f"  {path}: {text}")


if __name__ == "__main__":
    main()
