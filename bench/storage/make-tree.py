#!/usr/bin/env python3
"""Creates the benchmark tree: FOLDERS leaf folders (in groups of 1000) holding
FILES_PER_FOLDER small files each, with a few hard links and symbolic links."""
import os
import sys

root = sys.argv[1]
folders = int(sys.argv[2]) if len(sys.argv) > 2 else 100_000
files_per_folder = int(sys.argv[3]) if len(sys.argv) > 3 else 10

os.makedirs(root, exist_ok=True)
payload = b"v" * 4096
for index in range(folders):
    group = os.path.join(root, f"group{index // 1000:03d}")
    folder = os.path.join(group, f"folder{index % 1000:03d}")
    os.makedirs(folder, exist_ok=True)
    for number in range(files_per_folder):
        path = os.path.join(folder, f"file-{number:02d}.dat")
        with open(path, "wb") as handle:
            handle.write(payload[: (index * 7 + number * 131) % 4096])
    if index % 1000 == 0:
        os.link(os.path.join(folder, "file-00.dat"), os.path.join(group, "hard-link"))
        os.symlink("folder000", os.path.join(group, "link-to-folder"))
print(f"created {folders} folders with {files_per_folder} files each under {root}")
