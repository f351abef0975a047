"""The side of SciPy and NumPy in bench/compare: solves problems that arrive as files, and times itself.

A request is a line "operation input output" on standard input; the answer is a line "ok seconds text" or
"failed cause". An operation is a function here that takes the input matrices and gives the results; child_process.hpp
tells the form of the files.
"""

import os
import re
import sys
import time
import warnings

import numpy as np
import scipy
import scipy.linalg
import scipy.signal

OPERATIONS = {}


def operation(function):
    OPERATIONS[function.__name__] = function
    return function


@operation
def identify():
    return []


@operation
def schur_inside_circle(a):
    t, q, _ = scipy.linalg.schur(a, sort="iuc")
    return [t, q]


@operation
def sylvester(a, b, c):
    return [scipy.linalg.solve_sylvester(a, b, -c)]


@operation
def continuous_lyapunov(a, q):
    return [scipy.linalg.solve_continuous_lyapunov(a, -q)]


@operation
def discrete_lyapunov(a, q):
    return [scipy.linalg.solve_discrete_lyapunov(a, q, method="bilinear")]


@operation
def continuous_riccati(a, b, q, r):
    return [scipy.linalg.solve_continuous_are(a, b, q, r)]


@operation
def discrete_riccati(a, b, q, r):
    return [scipy.linalg.solve_discrete_are(a, b, q, r)]


@operation
def exponential(a):
    return [scipy.linalg.expm(a)]


@operation
def logarithm(a):
    result, _ = scipy.linalg.logm(a, disp=False)
    return [np.real(result), np.imag(result)]


@operation
def zero_order_hold(a, b, c, d, t):
    discrete = scipy.signal.cont2discrete((a, b, c, d), t[0, 0], method="zoh")
    return list(discrete[:4])


@operation
def realisation(table, channels, block_rows):
    """The curves of all pairs, inputs outside, to a model through the Gram matrix of the block Hankel matrix."""
    p = m = int(channels[0, 0])
    rows = int(block_rows[0, 0])
    curves = table.reshape((m, p, -1)).transpose(1, 0, 2)  # outputs, inputs, samples
    peaks = np.abs(curves).max(axis=(1, 2))
    pulses = np.diff(curves, axis=2, prepend=0.0) / peaks[:, None, None]
    wide = np.ascontiguousarray(pulses.transpose(0, 2, 1)).reshape((p, -1))  # blocks side by side
    terms = curves.shape[2] - rows
    hankel = np.empty(((rows + 1) * p, terms * m))
    for block in range(rows + 1):
        hankel[block * p : (block + 1) * p] = wide[:, block * m : (block + terms) * m]
    upper = hankel[: rows * p]
    values, vectors = np.linalg.eigh(upper @ upper.T)
    kept = int(np.count_nonzero(values >= 1e-5 * values[-1])) + 1
    roots = np.sqrt(values[-kept:])
    vectors = np.ascontiguousarray(vectors[:, -kept:])
    a = vectors.T @ (hankel[p:] @ (upper.T @ vectors)) / roots[:, None] / roots
    b = vectors.T @ upper[:, :m] / roots[:, None]
    c = peaks[:, None] * vectors[:p] * roots
    return [a, b, c, np.zeros((p, m))]


@operation
def simulation(a, b, c, d, samples):
    """All inputs side by side: the fastest loop."""
    count = int(samples[0, 0])
    responses = np.empty((count, c.shape[0], b.shape[1]))
    states = np.zeros(b.shape)
    for k in range(count):
        states = a @ states + b
        responses[k] = c @ states + d
    return [responses.transpose(2, 1, 0).reshape((-1, count))]


def read_matrices(name):
    with open(name, "rb") as file:
        count = np.fromfile(file, np.int64, 1)[0]
        matrices = []
        for _ in range(count):
            rows, columns = np.fromfile(file, np.int64, 2)
            elements = np.fromfile(file, np.float64, rows * columns)
            matrices.append(elements.reshape((rows, columns), order="F"))
        return matrices


def write_matrices(name, matrices):
    with open(name, "wb") as file:
        np.array([len(matrices)], np.int64).tofile(file)
        for matrix in matrices:
            matrix = np.atleast_2d(np.asarray(matrix, np.float64))
            np.array(matrix.shape, np.int64).tofile(file)
            file.write(matrix.tobytes(order="F"))


def blas_files():
    with open("/proc/self/maps") as maps:
        words = [line.split()[-1] for line in maps if re.search(r"/lib[a-z]*(blas|lapack)[^/]*\.so", line)]
    return sorted(set(os.path.realpath(word) for word in words))


def main():
    warnings.simplefilter("ignore")
    clock = time.process_time if os.environ.get("OPENBLAS_NUM_THREADS") == "1" else time.perf_counter
    for line in sys.stdin:
        if not line.strip():
            continue
        name, source, target = line.split()
        try:
            if name == "identify":
                text = f"SciPy {scipy.__version__}, NumPy {np.__version__} " + " ".join(blas_files())
                print("ok", 0.0, text, flush=True)
                continue
            inputs = read_matrices(source)
            start = clock()
            results = OPERATIONS[name](*inputs)
            seconds = clock() - start
            write_matrices(target, results)
            print("ok", seconds, flush=True)
        except Exception as error:  # the row tells it
            cause = " ".join(str(error).split()) or type(error).__name__
            print("failed", cause, flush=True)


main()
