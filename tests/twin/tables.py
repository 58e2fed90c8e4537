"""Trained tables, read from the library's sources, which are their only copy."""

import pathlib
import re

import numpy as np

SOURCES = pathlib.Path(__file__).resolve().parents[2] / "src"


def read_rows(path, rows, columns):
    """The float literals of an .inc file as a float32 array of this shape."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/", "", (SOURCES / path).read_text(), flags=re.S)
    literals = re.findall(r"[-+]?(?:\d+\.\d*|\.\d+|\d+)(?:[eE][-+]?\d+)?", text)
    if len(literals) != rows * columns:
        raise ValueError(f"{path}: {len(literals)} numbers where {rows} x {columns} belong")
    return np.array(literals, dtype=np.float64).astype(np.float32).reshape(rows, columns)


def isf_codebooks():
    """Five codebooks of two columns: ISF residuals in Hz (the tenth entry in units of 1/650)."""
    return [read_rows(f"narrowband/dico{k}_isf.inc", rows, 2)
            for k, rows in enumerate((64, 128, 128, 128, 32), start=1)]


def gain_table():
    """128 rows: pitch gain, correction of the predicted code gain."""
    return read_rows("narrowband/t_qua_gain.inc", 128, 2)


def lsf_codebooks():
    """Five codebooks of 3, 3, 3, 3 and 4 columns: LSF residuals in Hz."""
    shapes = ((128, 3), (256, 3), (128, 3), (128, 3), (128, 4))
    return [read_rows(f"wideband/dico{k}_lsf.inc", rows, columns)
            for k, (rows, columns) in enumerate(shapes, start=1)]
