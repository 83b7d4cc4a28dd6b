#!/usr/bin/python3
"""Pictures of Ondex results: a PNG per shot gather (one panel per component),
the rows of a 2D snapshot film as PNGs and one animated GIF, three orthogonal
slices through a 3D snapshot cube or a time field.

Files are read by the project's own reader through ondex_quicklook_export,
which hands over raw float32 and a JSON header; nothing here decodes SEG-Y or
VMG. Usage: quicklook.py --exporter BIN [-o OUTDIR] PATH...  (folders or files)
"""
import argparse
import json
import os
import re
import subprocess
import sys
import tempfile

import numpy as np
import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
from matplotlib.animation import PillowWriter  # noqa: E402

DPI = 100
CLIP_PERCENTILE = 98.0   # of |amplitude|: a few strong samples near the source must not grey out the rest
GATHER_RE = re.compile(r"^(.*\+Gath3D[A-Z]P[A-Z])([xyzc])((?:-\d+)?\.sgy)$")
COMPONENT_NAMES = {"x": "X velocity", "y": "Y velocity", "z": "Z velocity", "c": "pressure / mean stress",
                   "X": "X velocity", "Y": "Y velocity", "Z": "Z velocity", "C": "pressure / mean stress"}


def export(exporter, path, tmp):
    stem = os.path.join(tmp, "x%d" % len(os.listdir(tmp)))
    r = subprocess.run([exporter, path, stem], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if r.returncode != 0:
        print("quicklook: %s skipped: %s" % (path, r.stderr.strip()), file=sys.stderr)
        return None, None
    with open(stem + ".json") as f:
        head = json.load(f)
    return head, np.fromfile(stem + ".f32", dtype="<f4")


def clip(a):
    c = float(np.percentile(np.abs(a), CLIP_PERCENTILE)) if a.size else 0.0
    return c if c > 0 else (float(np.max(np.abs(a))) or 1.0)


def gather_pictures(files, exporter, tmp, outdir):
    """One PNG per shot of a gather family (the files of one name that differ
    by component only), one panel per component."""
    written = []
    for key, comps in sorted(files.items()):
        loaded = []
        for c, path in comps:
            head, data = export(exporter, path, tmp)
            if head is None or head["kind"] != "gather":
                continue
            loaded.append((c, head, data.reshape(head["traces"], head["samples"])))
        if not loaded:
            continue
        shots = np.array(loaded[0][1]["shot"], dtype=int)
        base = os.path.basename(key).replace(".sgy", "")
        for s in np.unique(shots):
            fig, axes = plt.subplots(1, len(loaded), figsize=(3.2 * len(loaded) + 0.8, 6), dpi=DPI, squeeze=False)
            for ax, (c, head, d) in zip(axes[0], loaded):
                sel = np.array(head["shot"], dtype=int) == s
                g = d[sel]
                off = np.array(head["offset"])[sel]
                t0, dt, unit = head["t0"], head["dt"], head["unit"]
                t1 = t0 + dt * (head["samples"] - 1)
                # Offsets read left to right when they run monotonically;
                # otherwise the traces are counted.
                mono = len(off) > 1 and (np.all(np.diff(off) > 0) or np.all(np.diff(off) < 0))
                if mono:
                    order = np.argsort(off)
                    g, off = g[order], off[order]
                    ext, xlabel = [off[0], off[-1], t1, t0], "offset (m)"
                else:
                    ext, xlabel = [1, len(g), t1, t0], "trace number"
                v = clip(g)
                ax.imshow(g.T, aspect="auto", cmap="gray_r", vmin=-v, vmax=v, extent=ext, interpolation="bilinear")
                ax.set_xlabel(xlabel)
                ax.set_ylabel("time (%s)" % unit if unit in ("ms", "s") else "sample (%s)" % unit)
                ax.set_title(COMPONENT_NAMES.get(c, c), fontsize=10)
            fig.suptitle("%s, shot %d (clip %g%%)" % (base, s + 1, CLIP_PERCENTILE), fontsize=10)
            fig.tight_layout()
            name = os.path.join(outdir, "%s-shot%d.png" % (base, s + 1))
            fig.savefig(name)
            plt.close(fig)
            written.append(name)
    return written


def film_pictures(path, exporter, tmp, outdir):
    head, data = export(exporter, path, tmp)
    if head is None or head["kind"] != "film":
        return []
    F, comps, R, nz, nx = head["frames"], head["components"], head["rows"], head["nz"], head["nx"]
    d = data.reshape(F, len(comps), R, nz, nx)
    ext = [head["x0"], head["x1"], head["z0"] + head["dz"] * (nz - 1), head["z0"]]
    vmax = [clip(d[:, c]) for c in range(len(comps))]   # one scale per component over the whole film
    base = os.path.basename(path).replace(".vmg", "")
    cols = min(len(comps), 2)
    rows = (len(comps) + cols - 1) // cols
    fig, axes = plt.subplots(rows, cols, figsize=(5 * cols, 3.4 * rows + 0.4), dpi=DPI, squeeze=False)
    images = []
    for c, ax in enumerate(axes.flat):
        if c >= len(comps):
            ax.axis("off")
            continue
        images.append(ax.imshow(d[0, c, 0], cmap="seismic", vmin=-vmax[c], vmax=vmax[c], extent=ext,
                                aspect="equal", interpolation="bilinear"))
        ax.set_title(COMPONENT_NAMES.get(comps[c], comps[c]), fontsize=10)
        ax.set_xlabel("x (m)")
        ax.set_ylabel("depth (m)")
    title = fig.suptitle("", fontsize=10)
    fig.tight_layout()
    written = []
    gif = os.path.join(outdir, base + ".gif")
    writer = PillowWriter(fps=6)
    with writer.saving(fig, gif, DPI):
        for f in range(F):
            for r in range(R):
                for c, im in enumerate(images):
                    im.set_data(d[f, c, r])
                title.set_text("%s  shot at x=%g m  t=%.3f s" % (base, head["src_x"][f], head["t0"] + r * head["dt"]))
                name = os.path.join(outdir, "%s-frame%d-row%03d.png" % (base, f + 1, r + 1))
                fig.savefig(name)
                written.append(name)
                writer.grab_frame()
    plt.close(fig)
    return written + [gif]


def cube_picture(path, exporter, tmp, outdir):
    head, data = export(exporter, path, tmp)
    if head is None or head["kind"] != "cube":
        return []
    nx, ny, nz = head["nx"], head["ny"], head["nz"]
    c = data.reshape(ny, nx, nz)
    x0, dx, y0, dy, z0, dz = head["x0"], head["dx"], head["y0"], head["dy"], head["z0"], head["dz"]
    # Slices through the source where it lies inside, else through the middle.
    sx, sy, sz = head["src"]

    def index(v, v0, dv, n):
        i = int(round((v - v0) / dv)) if dv > 0 else n // 2
        return i if 0 <= i < n else n // 2

    ix, iy, iz = index(sx, x0, dx, nx), index(sy, y0, dy, ny), index(sz, z0, dz, nz)
    is_time = "+Time3D" in os.path.basename(path)
    if is_time:
        kw = dict(cmap="viridis", vmin=float(np.min(c)), vmax=float(np.max(c)) or 1.0)
    else:
        v = clip(c)
        kw = dict(cmap="seismic", vmin=-v, vmax=v)
    x1, y1, z1 = x0 + dx * (nx - 1), y0 + dy * (ny - 1), z0 + dz * (nz - 1)
    fig, axes = plt.subplots(1, 3, figsize=(15, 4.8), dpi=DPI, layout="constrained")
    panels = [(c[:, :, iz], [x0, x1, y1, y0], "x (m)", "y (m)", "depth %g m" % (z0 + iz * dz)),
              (c[iy, :, :].T, [x0, x1, z1, z0], "x (m)", "depth (m)", "y = %g m" % (y0 + iy * dy)),
              (c[:, ix, :].T, [y0, y1, z1, z0], "y (m)", "depth (m)", "x = %g m" % (x0 + ix * dx))]
    for ax, (img, ext, xl, yl, t) in zip(axes, panels):
        im = ax.imshow(img, extent=ext, aspect="equal", interpolation="nearest", **kw)
        ax.set_xlabel(xl)
        ax.set_ylabel(yl)
        ax.set_title(t, fontsize=10)
    fig.colorbar(im, ax=list(axes), shrink=0.8, label="time (s)" if is_time else "amplitude")
    fig.suptitle(os.path.basename(path), fontsize=10)
    name = os.path.join(outdir, os.path.basename(path).replace(".sgy", "") + ".png")
    fig.savefig(name)
    plt.close(fig)
    return [name]


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("paths", nargs="+", help="result folders or files")
    ap.add_argument("-o", "--outdir", help="folder for the pictures (default: <folder>/quicklook, or beside the file)")
    ap.add_argument("--exporter", required=True, help="the ondex_quicklook_export program")
    a = ap.parse_args()

    files = []
    for p in a.paths:
        if os.path.isdir(p):
            files += [os.path.join(p, n) for n in sorted(os.listdir(p)) if n.lower().endswith((".sgy", ".vmg"))]
        elif os.path.isfile(p):
            files.append(p)
        else:
            print("quicklook: Error! '%s' is neither a folder nor a file." % p, file=sys.stderr)
            return 1
    first = a.paths[0]
    outdir = a.outdir or (os.path.join(first, "quicklook") if os.path.isdir(first) else os.path.dirname(first) or ".")
    try:
        os.makedirs(outdir, exist_ok=True)
    except OSError as e:
        print("quicklook: Error! Unable to make '%s': %s" % (outdir, e), file=sys.stderr)
        return 1

    written = []
    with tempfile.TemporaryDirectory(prefix="quicklook") as tmp:
        gathers = {}
        for f in files:
            name = os.path.basename(f)
            m = GATHER_RE.match(name)
            if m:
                gathers.setdefault(os.path.join(os.path.dirname(f), m.group(1) + m.group(3)), []).append(
                    (m.group(2), f))
            elif name.lower().endswith(".vmg"):
                written += film_pictures(f, a.exporter, tmp, outdir)
            else:
                written += cube_picture(f, a.exporter, tmp, outdir)
        for k in gathers:
            gathers[k].sort(key=lambda cf: "xyzc".index(cf[0]))
        written += gather_pictures(gathers, a.exporter, tmp, outdir)
    for w in written:
        print(w)
    if not written:
        print("quicklook: Error! Nothing to draw in %s." % " ".join(a.paths), file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
