#!/usr/bin/python3
"""A fluid layer over rock inside the PML, in two dimensions (x, z), written
from the equations alone with numpy: nothing is shared with the engine.

The same fourth-order staggered velocity-stress scheme (each stress node
with its own cell's moduli) and the same convolutional PML recursion
psi = a*psi + b*d, d += psi, with the per-cell profile of the engine
(d0 from the cell's P velocity, R = 0.0002, damping growing with the square
of the distance, the frequency shift (1.1 - s)*pi*f). A smooth pulse is let
go and nothing is injected after it; the sum of the squared velocities is
printed every 250 steps, relative to the start.

It shows that the growth of a fluid-rock interface in the PML belongs to
these equations, not to the engine's code: the engine's 3D step grows in
the same way (test ElaEnergy), the sponge does not.

  /usr/bin/python3 tools/pml_interface_2d.py [n W fluid_planes rock_vs steps alpha_scale]

Defaults 60 21 25 1500 6000 1: rock vp 3000, rho 2200; fluid vp 1500,
rho 1000, vs 0. rock_vs 0 makes the rock a fluid too (then nothing grows);
alpha_scale multiplies the frequency shift.
"""
import math
import sys

import numpy as np

args = [float(a) for a in sys.argv[1:]]
n, W, ft, vs_rock, steps, alpha_scale = (args + [60, 21, 25, 1500, 6000, 1][len(args):])[:6]
n, W, ft, steps = int(n), int(W), int(ft), int(steps)
h, dx, dt, f = 2, 10.0, 0.001, 20.0
beta1, beta2 = 1.125, -1.0 / 24.0

# Arrays are [z, x]; velocity ux sits half a cell below x, uz below z, txz
# below both; the moduli and buoyancy of a node are those of its cell.
vp = np.full((n, n), 3000.0)
vs = np.full((n, n), vs_rock)
rho = np.full((n, n), 2200.0)
vp[:ft], vs[:ft], rho[:ft] = 1500.0, 0.0, 1000.0
buoy = dt / dx / rho
mu = rho * vs**2 * dt / dx
lam = rho * vp**2 * dt / dx - 2.0 * mu


def d_plus(a, axis):   # result half a cell above the index
    return beta1 * (np.roll(a, -1, axis) - a) + beta2 * (np.roll(a, -2, axis) - np.roll(a, 1, axis))


def d_minus(a, axis):  # result half a cell below the index
    return beta1 * (a - np.roll(a, 1, axis)) + beta2 * (np.roll(a, -1, axis) - np.roll(a, 2, axis))


def profile(axis, stencil):
    """Decay a and multiplier b of every cell for derivatives along axis."""
    a = np.zeros((n, n))
    b = np.zeros((n, n))
    for c in range(n):
        for low in (True, False):
            k = c - h if low else n - c - h - 1
            if not 0 <= k < W:
                continue
            # The stencil whose point lies half a cell further out takes s1.
            outer = (stencil == '-') == low
            s = ((W + 1) - k) / W if outer else ((W + 0.5) - k) / W
            for o in range(n):
                z, x = (o, c) if axis == 1 else (c, o)
                d0 = vp[z, x] * -1.5 * math.log(0.0002) / (dx * W)
                d = d0 * s * s
                w = (1.1 - s) * math.pi * f * alpha_scale + d
                a[z, x] = math.exp(-w * dt)
                b[z, x] = d * (a[z, x] - 1.0) / w
    return a, b


prof = {(ax, st): profile(ax, st) for ax in (0, 1) for st in '+-'}
psi = {}


def pml(d, name, axis, stencil):
    a, b = prof[(axis, stencil)]
    p = psi.setdefault(name, np.zeros((n, n)))
    p *= a
    p += b * d
    return d + p


inside = np.zeros((n, n), bool)
inside[h:n - h, h:n - h] = True
Z, X = np.mgrid[0:n, 0:n].astype(float)


def phi(x, z):
    return np.exp(-((x - n / 2.0)**2 + (z - n / 2.0 - 1.0)**2) / 6.0)


# A P pulse, and in the rock a rotational part as well.
ux = (phi(X, Z) - phi(X - 1, Z) + np.where(Z >= ft + 2, 0.3 * phi(X, Z + 1), 0.0)) * inside
uz = (phi(X, Z) - phi(X, Z - 1)) * inside
txx, tzz, txz = (np.zeros((n, n)) for _ in range(3))
e0 = None
for step in range(steps):
    dxx = pml(d_minus(txx, 1), 'xTxx', 1, '-')
    dzx = pml(d_plus(txz, 0), 'zTxz', 0, '+')
    dxz = pml(d_plus(txz, 1), 'xTxz', 1, '+')
    dzz = pml(d_minus(tzz, 0), 'zTzz', 0, '-')
    ux = np.where(inside, ux + buoy * (dxx + dzx), 0.0)
    uz = np.where(inside, uz + buoy * (dxz + dzz), 0.0)
    ex = pml(d_plus(ux, 1), 'ex', 1, '+')
    ez = pml(d_plus(uz, 0), 'ez', 0, '+')
    b1 = pml(d_minus(ux, 0), 'b1', 0, '-')
    b2 = pml(d_minus(uz, 1), 'b2', 1, '-')
    txx = np.where(inside, txx + (lam + 2.0 * mu) * ex + lam * ez, 0.0)
    tzz = np.where(inside, tzz + (lam + 2.0 * mu) * ez + lam * ex, 0.0)
    txz = np.where(inside, txz + mu * (b1 + b2), 0.0)
    if step % 250 == 0 or step == steps - 1:
        e = float((ux**2 + uz**2).sum())
        e0 = e0 or e
        print('step %5d  energy %.3g' % (step, e / e0), flush=True)
