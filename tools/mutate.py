#!/usr/bin/env python3
"""Mutation check of the test suite: plant one known fault at a time in the
product, rebuild, run the suite, and see whether any test fails.

Each fault is a single textual change kept in the FAULTS table below: a file,
a piece of source to find (it must occur exactly once, else the fault is "not
applicable" until someone updates the table), and its faulty replacement.
A fault that no longer compiles is "not applicable" too. The file is always
put back byte for byte, also after Ctrl-C or an error; a copy of it waits in
the build folder so that even a killed run is undone by the next one.

  tools/mutate.py                 every fault
  tools/mutate.py --only A B      the faults labelled A and B
  tools/mutate.py --list          the table, with whether each still applies
  tools/mutate.py --build-dir D   another build folder (default: build)
  tools/mutate.py --prefix ""     a suite whose test names carry no program
                                  prefix (the programs' suites are listed)
  tools/mutate.py --compare old_  faults that survive are tried again on the
                                  programs named old_* (an older suite built
                                  alongside), to show what a change of the
                                  suite lost

Standard library only.
"""

import argparse
import os
import re
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# label, kind, file, find, replacement, regex, first
# "regex" patterns are for code that is being reformatted: they match any
# spacing. "first" names the test programs (tests/<name>/) most likely to
# catch the fault; they run first, and the whole suite only if they pass, so
# the verdict is the same as for the whole suite, only sooner.
FAULTS = [
    # ---------------------------------------------------------------- files
    dict(label="segy-ns-byte", kind="header byte off by one", file="files/SegyFormat.cpp",
         find="PutBE16(b + 3220, ns);", repl="PutBE16(b + 3221, ns);", first="files"),
    dict(label="swap32-order", kind="swapped byte order", file="files/SegyFormat.cpp",
         find="    b[0] = b[3];\n    b[3] = t;", repl="    b[0] = b[2];\n    b[2] = t;", first="files"),
    dict(label="ibm-sign", kind="lost sign", file="files/SegyFormat.cpp",
         find="    return (word & 0x80000000u) ? -f : f;", repl="    return f;", first="files"),
    dict(label="sort-shot-keys", kind="catalogue sort", file="files/SdsPC.cpp",
         find="    KEYS4(ka, Bin(p.fSrcX), Bin(p.fSrcY), Bin(p.fRecX), Bin(p.fRecY));\n"
              "    KEYS4(kb, Bin(q.fSrcX), Bin(q.fSrcY), Bin(q.fRecX), Bin(q.fRecY));",
         repl="    KEYS4(ka, Bin(p.fSrcY), Bin(p.fSrcX), Bin(p.fRecX), Bin(p.fRecY));\n"
              "    KEYS4(kb, Bin(q.fSrcY), Bin(q.fSrcX), Bin(q.fRecX), Bin(q.fRecY));", first="files"),
    dict(label="segy-dead-trace", kind="skipped branch", file="files/SdsPC_open.cpp",
         find="if (GetField16(&th, 28) == 2) continue;", repl="if (GetField16(&th, 28) == 3) continue;",
         first="files"),
    # --------------------------------------------------------------- survey
    dict(label="survey-min-fields", kind="survey parsing", file="survey/SurveyText.cpp",
         find="    if (n < 6)\n        return true;", repl="    if (n < 3)\n        return true;",
         first="survey|run"),
    dict(label="survey-message", kind="wrong message text", file="survey/SurveyText.cpp",
         find='"Error! No source points in the survey', repl='"Error! No source point in the survey',
         first="survey|run"),
    # ------------------------------------------------------------- engine3d
    dict(label="pml-d0", kind="wrong coefficient", file="engine3d/Calc3D_pml.cpp",
         find="(v * -1.5 * log(R))", repl="(v * -1.0 * log(R))", first="engine3d"),
    dict(label="pml-half-cell", kind="stencil offset", file="engine3d/Calc3D_pml.cpp",
         find="((W + 0.5) - k)", repl="((W + 1.5) - k)", first="engine3d"),
    dict(label="model-buoyancy", kind="wrong coefficient", file="engine3d/Calc3D_assembly.cpp",
         find="pRho[n] = c2 / rho;", repl="pRho[n] = c1 / rho;", first="engine3d"),
    dict(label="sponge-taper", kind="wrong formula", file="engine3d/Calc3D_assembly.cpp",
         find="exp(-0.18 * d * d * dtf)", repl="exp(-0.18 * d * dtf)", first="engine3d"),
    dict(label="q-damping", kind="wrong coefficient", file="engine3d/Calc3D_assembly.cpp",
         find="pow(1.0 - M_PI / q, e)", repl="pow(1.0 - M_PI / q, 2.0 * e)", first="engine3d"),
    dict(label="dx-check", kind="skipped error branch", file="engine3d/Calc3D_validate.cpp",
         find="    if (!(m_dx > 0.0))", repl="    if (false && !(m_dx > 0.0))", first="engine3d"),
    dict(label="dt-code", kind="wrong result code", file="engine3d/Calc3D_validate.cpp",
         find='dt=%g specified!\\n", m_dt);\n        return -101;',
         repl='dt=%g specified!\\n", m_dt);\n        return -100;', first="engine3d"),
    dict(label="acoustic-dc-text", kind="wrong message text", file="engine3d/Calc3D_validate.cpp",
         find="Acoustic simulation dies not support double couple",
         repl="Acoustic simulation does not support double couple", first="engine3d"),
    dict(label="pml-width-default", kind="wrong default key value", file="engine3d/Calc3D_task.cpp",
         find="    m_nPML = 21;", repl="    m_nPML = 20;", first="engine3d"),
    # ----------------------------------------------------- acoustic scheme
    dict(label="src-pressure-sign", kind="lost sign", file="cpu/Calc3D_OMP_source.cpp",
         find="                else\n                    m_pTxx[i] += s;\n                break;",
         repl="                else\n                    m_pTxx[i] -= s;\n                break;",
         first="engine3d|cpu"),
    dict(label="rcv-pressure-sign", kind="lost sign", file="cpu/Calc3D_OMP_source.cpp",
         find="/ 3.0f : m_pTxx[c];", repl="/ 3.0f : -m_pTxx[c];", first="engine3d|cpu"),
    dict(label="dplus-offset", kind="stencil offset", file="cpu/FDScheme.h", regex=True,
         find=r"(DPlus\s*\([^)]*\)\s*\{[^}]*?kBeta2\s*\*\s*\(\s*f\s*\[\s*i\s*\+\s*)2(\s*\*\s*s\s*\])",
         repl=r"\g<1>3\g<2>", first="engine3d|cpu"),
    dict(label="cpml-no-memory", kind="skipped PML update", file="cpu/FDScheme.h", regex=True,
         find=r"(Cpml\s*\([^)]*\)\s*\{[^}]*?psi\s*=\s*a\s*\*\s*psi)\s*\+\s*b\s*\*\s*d\b",
         repl=r"\g<1>", first="engine3d|cpu"),
    dict(label="halo-send-planes", kind="stencil offset", file="engine3d/Calc3D_halo.cpp",
         find="GetCalcPlane(c, nz - 2 * h, nz - h - 1, &m_pSend", repl="GetCalcPlane(c, nz - 2 * h - 1, nz - h - 2, &m_pSend",
         first="engine3d"),
    dict(label="stiff-phi-const", kind="wrong key value", file="engine3d/Calc3D_stiffness.cpp",
         find="m.phi = pPhi ? pPhi[n] : job.m_fAnisConst[3];", repl="m.phi = pPhi ? pPhi[n] : job.m_fAnisConst[4];",
         first="engine3d|cpu"),
    dict(label="ani-avg-index", kind="wrong average", file="cpu/AniScheme.h",
         find="s.nExz = a.v[z][4] + a.v[x][7];", repl="s.nExz = a.v[z][4] + a.v[x][6];", first="cpu|engine3d"),
    dict(label="ort-c23", kind="wrong coefficient", file="cpu/OrtScheme.h",
         find="k.c22 * d.ey + k.c23 * d.ez + R.yy);", repl="k.c22 * d.ey + k.c13 * d.ez + R.yy);",
         first="cpu|engine3d"),
    dict(label="ela-surface-tzz", kind="lost factor", file="cpu/ElaScheme.h",
         find="const float tz = 2.0f * f.tzz[i];", repl="const float tz = f.tzz[i];", first="cpu|engine3d"),
    dict(label="visco-centres", kind="off by one", file="rock/ViscoCalc.cpp",
         find="return pow(8.0, 2.0 * l / (L - 1) - 1.0);", repl="return pow(8.0, 2.0 * l / L - 1.0);",
         first="rock|cpu"),
    dict(label="1d-vert-weights", kind="swapped weights", file="engine1d/Calc1D_column.cpp",
         find="s = (1.0f - rz) * s + rz * m(i, j, kz + 1);", repl="s = rz * s + (1.0f - rz) * m(i, j, kz + 1);",
         first="engine1d"),
    # ------------------------------------------------------------------ run
    dict(label="sched-next-shot", kind="scheduler", file="run/Scheduler.cpp", regex=True,
         find=r"send_int\(nNext\+\+(, nSource, (?:kTagShot|tag::kShot)\);)",
         repl=r"send_int(nNext\g<1>", first="run"),
    dict(label="merge-last-shot", kind="merge", file="run/Merge.cpp",
         find="    for (int n = nFirst; n <= nLast; ++n)\n    {\n        CString strName(0, pszPerShot, n);\n"
              "        CSdsPC sds;",
         repl="    for (int n = nFirst; n < nLast; ++n)\n    {\n        CString strName(0, pszPerShot, n);\n"
              "        CSdsPC sds;", first="run"),
    dict(label="shotid-conflict", kind="skipped error branch", file="run/ReadTask.cpp",
         find="if (m_bUseShotId && m_bShotsByCoordinates)", repl="if (false && m_bUseShotId && m_bShotsByCoordinates)",
         first="run"),
    # ----------------------------------------------------------------- base
    dict(label="rect-inside-edge", kind="off by one", file="base/Types.cpp",
         find="return pt.x >= x0 && pt.x <= x1 && pt.y >= y0 && pt.y <= y1;",
         repl="return pt.x >= x0 && pt.x < x1 && pt.y >= y0 && pt.y <= y1;", first="base|survey"),
    dict(label="log-file-name", kind="wrong file name", file="base/Output.cpp",
         find='"Ondex-%d.log"', repl='"Ondex%d.log"', first="base|run"),
]


def out(msg=""):
    print(msg, flush=True)


def mutated_text(fault, text):
    """The file text with the fault planted, or (None, reason)."""
    if fault.get("regex"):
        matches = list(re.finditer(fault["find"], text, re.S))
        if len(matches) != 1:
            return None, "pattern found %d times" % len(matches)
        return text[:matches[0].start()] + matches[0].expand(fault["repl"]) + text[matches[0].end():], ""
    n = text.count(fault["find"])
    if n != 1:
        return None, "text found %d times" % n
    return text.replace(fault["find"], fault["repl"]), ""


class Restorer:
    """Keeps the original of the file being mutated, in memory and on disk."""

    def __init__(self, build_dir):
        self.dir = os.path.join(build_dir, "mutate-backup")
        self.path = None
        self.data = None

    def undo_leftover(self):
        # A run killed hard (SIGKILL, power) left its backup: put it back.
        if not os.path.isdir(self.dir):
            return
        for name in os.listdir(self.dir):
            with open(os.path.join(self.dir, name), "rb") as f:
                rel = name.replace("__", "/")
                data = f.read()
            with open(os.path.join(ROOT, rel), "wb") as f:
                f.write(data)
            os.remove(os.path.join(self.dir, name))
            out("restored %s from an interrupted run" % rel)

    def save(self, rel):
        os.makedirs(self.dir, exist_ok=True)
        self.path = os.path.join(ROOT, rel)
        with open(self.path, "rb") as f:
            self.data = f.read()
        self.backup = os.path.join(self.dir, rel.replace("/", "__"))
        with open(self.backup, "wb") as f:
            f.write(self.data)

    def restore(self):
        if self.path is None:
            return
        with open(self.path, "wb") as f:
            f.write(self.data)
        # Keep the original's time stamp moving forward so make rebuilds it.
        os.utime(self.path, None)
        os.remove(self.backup)
        self.path = None


def build(build_dir):
    r = subprocess.run(["cmake", "--build", build_dir, "-j2"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return r.returncode == 0, r.stdout.decode(errors="replace")


def suites_of(build_dir, programs):
    """A ctest pattern of the test suites in the programs tests/test_<name>,
    for a suite whose tests carry no program prefix; None if none is found."""
    suites = []
    for name in programs.split("|"):
        exe = os.path.join(build_dir, "tests", "test_" + name)
        if not os.path.exists(exe):
            continue
        r = subprocess.run([exe, "--gtest_list_tests"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        for line in r.stdout.decode(errors="replace").splitlines():
            if line and not line[0].isspace():
                suites.append(line.split()[0].rstrip("."))
    return "^(%s)\\." % "|".join(sorted(set(suites))) if suites else None


def ctest(build_dir, prefix, programs=None):
    # Tests are named <program>.<suite>.<case>, the program test_<folder>;
    # an older suite without the prefix (--prefix "") is picked by its suites.
    if programs:
        pattern = "^%s(%s)\\." % (prefix, programs) if prefix else suites_of(build_dir, programs)
        if pattern is None:
            return True, []
    else:
        pattern = "^" + prefix
    cmd = ["ctest", "--test-dir", build_dir, "-j2", "--stop-on-failure", "--timeout", "300", "-R", pattern]
    r = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    text = r.stdout.decode(errors="replace")
    if "No tests were found" in text:
        # A pattern that picks nothing would let every fault survive.
        raise RuntimeError("no test matches %s; is --prefix right for this suite?" % pattern)
    failed = [l.split("-", 1)[-1].strip() for l in text.splitlines() if "***Failed" in l or "***Timeout" in l
              or "***Exception" in l or "Not Run" in l]
    return r.returncode == 0, failed


def run_fault(fault, build_dir, restorer, prefix, compare):
    rel = fault["file"]
    path = os.path.join(ROOT, rel)
    if not os.path.exists(path):
        return "n/a", "no such file"
    with open(path, "r", encoding="utf-8", newline="") as f:
        text = f.read()
    new, why = mutated_text(fault, text)
    if new is None:
        return "n/a", why
    restorer.save(rel)
    try:
        with open(path, "w", encoding="utf-8", newline="") as f:
            f.write(new)
        ok, log = build(build_dir)
        if not ok:
            return "n/a", "does not compile"
        if fault.get("first"):
            passed, failed = ctest(build_dir, prefix, fault["first"])
            if not passed:
                return "caught", ", ".join(failed[:2])
        passed, failed = ctest(build_dir, prefix)
        if not passed:
            return "caught", ", ".join(failed[:2])
        if compare:
            passed, failed = ctest(build_dir, compare)
            if not passed:
                return "survived", "LOST: caught by %s* (%s)" % (compare, ", ".join(failed[:2]))
            return "survived", "survives %s* too" % compare
        return "survived", ""
    finally:
        restorer.restore()


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--only", nargs="+", metavar="LABEL", help="run only these faults")
    ap.add_argument("--list", action="store_true", help="list the faults and whether each applies")
    ap.add_argument("--build-dir", default=os.path.join(ROOT, "build"))
    ap.add_argument("--prefix", default="test_", help="names of the test programs that form the suite")
    ap.add_argument("--compare", metavar="PREFIX", help="try faults that survive on these programs too")
    ap.add_argument("--skip-clean-check", action="store_true",
                    help="do not first check that the unchanged product passes the suite")
    a = ap.parse_args()
    build_dir = os.path.abspath(a.build_dir)

    faults = FAULTS
    if a.only:
        unknown = set(a.only) - {f["label"] for f in FAULTS}
        if unknown:
            out("Error! Unknown fault label(s): %s" % " ".join(sorted(unknown)))
            return 2
        faults = [f for f in FAULTS if f["label"] in a.only]

    if a.list:
        for f in faults:
            try:
                with open(os.path.join(ROOT, f["file"]), encoding="utf-8", newline="") as fh:
                    new, why = mutated_text(f, fh.read())
            except OSError:
                new, why = None, "no such file"
            out("%-18s %-26s %-32s %s" % (f["label"], f["kind"], f["file"], "applies" if new else why))
        return 0

    # Ctrl-C and kill both go through the finally blocks that restore.
    def on_term(signum, frame):
        raise KeyboardInterrupt()

    signal.signal(signal.SIGTERM, on_term)
    restorer = Restorer(build_dir)
    restorer.undo_leftover()

    if not a.skip_clean_check:
        ok, log = build(build_dir)
        if not ok:
            out(log[-3000:])
            out("Error! The unchanged product does not build.")
            return 1
        passed, failed = ctest(build_dir, a.prefix)
        if not passed:
            out("Error! The unchanged product fails the suite (%s); no fault can be judged." % ", ".join(failed[:3]))
            return 1

    results = []
    t_all = time.time()
    try:
        for f in faults:
            t0 = time.time()
            verdict, note = run_fault(f, build_dir, restorer, a.prefix, a.compare)
            results.append((f, verdict, note))
            out("%-18s %-9s %5.0fs  %s" % (f["label"], verdict, time.time() - t0, note))
    except KeyboardInterrupt:
        out("interrupted; the product files are restored")
    finally:
        restorer.restore()
        # Leave the build matching the sources again.
        build(build_dir)

    out()
    out("%-18s %-26s %-30s %s" % ("label", "kind", "file", "verdict"))
    for f, verdict, note in results:
        out("%-18s %-26s %-30s %s" % (f["label"], f["kind"], f["file"], verdict + (" (%s)" % note if note else "")))
    caught = sum(1 for _, v, _ in results if v == "caught")
    survived = [f["label"] for f, v, _ in results if v == "survived"]
    na = sum(1 for _, v, _ in results if v == "n/a")
    out()
    out("caught %d of %d applicable (%d not applicable), %.0f s" % (caught, caught + len(survived), na,
                                                                     time.time() - t_all))
    if survived:
        out("survived: " + " ".join(survived))
    return 0


if __name__ == "__main__":
    sys.exit(main())
