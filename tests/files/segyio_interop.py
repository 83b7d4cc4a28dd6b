"""SEG-Y exchange with segyio, driven by test_segyio_interop.cpp.

check FILE NTRACES NSAMPLES INTERVAL FORMAT COORFILE
    Reads FILE with segyio and compares it with what the writer was given.
    COORFILE holds one line per trace: srcX srcY recX recY inline crossline
    first_sample, in metres. Prints every mismatch; exit status 0 when none.

write DIR
    Writes three files for the reader: be_ibm.sgy (big-endian, IBM floats),
    be_ieee.sgy (big-endian, IEEE floats) and le_int.sgy (little-endian,
    32-bit integers), each with 4 traces of 60 samples at 2 ms, coordinate
    scaler -100 and elevation scaler -10.
"""
import sys

import numpy as np
import segyio
from segyio import BinField, TraceField

NT, NS, DT = 4, 60, 2000


def scaled(stored, scaler):
    if scaler > 1:
        return stored * scaler
    if scaler < -1:
        return stored / -scaler
    return float(stored)


def check(path, ntr, ns, interval, fmt, coorfile):
    errors = []

    def expect(what, got, want, tol=0.0):
        if abs(got - want) > tol:
            errors.append("%s: got %r, want %r" % (what, got, want))

    rows = [list(map(float, l.split())) for l in open(coorfile) if l.strip()]
    with segyio.open(path, "r", ignore_geometry=True) as f:
        expect("trace count", f.tracecount, ntr)
        expect("samples", len(f.samples), ns)
        expect("binary samples", f.bin[BinField.Samples], ns)
        expect("binary interval", f.bin[BinField.Interval], interval)
        expect("format", f.bin[BinField.Format], fmt)
        # segyio hands the text header over already converted from EBCDIC.
        text = f.text[0]
        if not isinstance(text, str):
            text = bytes(text).decode("ascii", "replace")
        if "Velmoran Technologies Inc." not in text:
            errors.append("text header does not decode from EBCDIC: %r" % text[:80])
        for i, r in enumerate(rows):
            h = f.header[i]
            s = h[TraceField.SourceGroupScalar]
            expect("trace %d samples" % i, h[TraceField.TRACE_SAMPLE_COUNT], ns)
            expect("trace %d interval" % i, h[TraceField.TRACE_SAMPLE_INTERVAL], interval)
            expect("trace %d source X" % i, scaled(h[TraceField.SourceX], s), r[0], 0.006)
            expect("trace %d source Y" % i, scaled(h[TraceField.SourceY], s), r[1], 0.006)
            expect("trace %d group X" % i, scaled(h[TraceField.GroupX], s), r[2], 0.006)
            expect("trace %d group Y" % i, scaled(h[TraceField.GroupY], s), r[3], 0.006)
            expect("trace %d inline" % i, h[TraceField.INLINE_3D], r[4])
            expect("trace %d crossline" % i, h[TraceField.CROSSLINE_3D], r[5])
            expect("trace %d sequence" % i, h[TraceField.TRACE_SEQUENCE_LINE], i + 1)
            data = f.trace[i]
            expect("trace %d first sample" % i, float(data[0]), r[6], abs(r[6]) * 1e-6)
    for e in errors:
        print(e)
    return 0 if not errors else 1


def samples(i):
    t = np.arange(NS, dtype=np.float64)
    return (np.sin(t * 0.3 + i) * 1000.0 * (i + 1)).astype(np.float32)


def write(directory):
    for name, fmt, endian in (("be_ibm.sgy", 1, "big"), ("be_ieee.sgy", 5, "big"), ("le_int.sgy", 2, "little")):
        spec = segyio.spec()
        spec.format = fmt
        spec.samples = list(range(0, NS * 2, 2))
        spec.tracecount = NT
        spec.endian = endian
        with segyio.create(directory + "/" + name, spec) as f:
            f.bin.update({BinField.Samples: NS, BinField.Interval: DT, BinField.Format: fmt})
            for i in range(NT):
                f.header[i] = {
                    TraceField.TRACE_SEQUENCE_LINE: i + 1,
                    TraceField.FieldRecord: 7,
                    TraceField.TraceNumber: i + 1,
                    TraceField.EnergySourcePoint: 3,
                    TraceField.SourceGroupScalar: -100,
                    TraceField.ElevationScalar: -10,
                    TraceField.SourceX: 100000 + 2500 * i,   # 1000 + 25 i
                    TraceField.SourceY: 200050,              # 2000.5
                    TraceField.GroupX: 150000 + 1234 * i,    # 1500 + 12.34 i
                    TraceField.GroupY: -5025,                # -50.25
                    TraceField.ReceiverGroupElevation: 255,  # 25.5 up: Z = -25.5
                    TraceField.SourceSurfaceElevation: -100,  # 10 down: Z = 10
                    TraceField.TRACE_SAMPLE_COUNT: NS,
                    TraceField.TRACE_SAMPLE_INTERVAL: DT,
                }
                data = samples(i)
                if fmt == 2:
                    data = np.round(data).astype(np.int32)
                f.trace[i] = data
    return 0


if __name__ == "__main__":
    if len(sys.argv) == 8 and sys.argv[1] == "check":
        a = sys.argv
        sys.exit(check(a[2], int(a[3]), int(a[4]), int(a[5]), int(a[6]), a[7]))
    if len(sys.argv) == 3 and sys.argv[1] == "write":
        sys.exit(write(sys.argv[2]))
    print(__doc__)
    sys.exit(2)
