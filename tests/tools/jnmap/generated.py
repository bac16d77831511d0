"""Writes a model, has jnmap generate its classes, and puts all of them into one source."""

import shutil
import subprocess
import sys
from pathlib import Path

import models

name, program, folder = sys.argv[1], sys.argv[2], Path(sys.argv[3])
shutil.rmtree(folder, ignore_errors=True)
contents = folder / "Model.xcdatamodel" / "contents"
contents.parent.mkdir(parents=True)
contents.write_text(models.model(*{"rich": models.RICH, "hundred": models.HUNDRED}[name]))
subprocess.run([program, "generate", f"--output={folder}", "--namespace=shop", contents.parent],
               check=True, stdout=subprocess.DEVNULL)
sources = sorted(path.relative_to(folder).as_posix() for path in folder.rglob("*.cpp"))
(folder / "all.cpp").write_text("".join(f'#include "{source}"\n' for source in sources))
