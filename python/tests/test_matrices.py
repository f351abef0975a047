"""Functions of arrays, against their equations and against SciPy."""

import threading

import numpy as np
import pytest
import scipy.linalg

import qormath

EPS = np.finfo(float).eps
SIZES = (1, 2, 5, 17, 40)


def stable(n, seed, discrete=False):
    a = np.random.default_rng(seed).standard_normal((n, n))
    values = np.linalg.eigvals(a)
    return a / (1.1 * np.abs(values).max()) if discrete else a - (values.real.max() + 0.5) * np.eye(n)


def norm(*arrays):
    return max(np.linalg.norm(a) for a in arrays)


@pytest.mark.parametrize("n", SIZES)
def test_schur_form_is_similar_orthogonal_and_sorted(n):
    a = np.random.default_rng(n).standard_normal((n, n))
    for sort in ("none", "lhp", "rhp", "iuc", "ouc", "descending modulus"):
        t, z = qormath.schur(a, sort)
        assert np.linalg.norm(z @ t @ z.T - a) <= 20 * n * EPS * norm(a)
        assert np.linalg.norm(z.T @ z - np.eye(n)) <= 20 * n * EPS
        assert not np.tril(t, -2).any()
    t, _ = qormath.schur(a, "lhp")
    left = int((np.linalg.eigvals(a).real < 0).sum())
    assert (np.linalg.eigvals(t[:left, :left]).real < 0).all()


@pytest.mark.parametrize("n", SIZES)
def test_expm_and_logm_undo_each_other_and_agree_with_scipy(n):
    a = stable(n, n, discrete=True)
    e = qormath.expm(a)
    assert np.linalg.norm(e - scipy.linalg.expm(a)) <= 50 * n * EPS * norm(e)
    logarithm = qormath.logm(e)
    assert logarithm.dtype == float
    assert np.linalg.norm(qormath.expm(logarithm) - e) <= 200 * n * EPS * norm(e)


def test_logm_of_a_negative_number_is_complex():
    assert np.allclose(qormath.logm([[-1.0]]), [[1j * np.pi]], atol=4 * EPS)


@pytest.mark.parametrize("n", SIZES)
def test_equations_have_the_signs_of_scipy(n):
    a, b = stable(n, 1), stable(n + 1, 2)
    q = np.random.default_rng(3).standard_normal((n, n + 1))
    x = qormath.sylvester(a, b, q)
    assert np.linalg.norm(a @ x + x @ b - q) <= 20 * n * EPS * norm(a, b) * norm(x)
    s = q @ q.T
    x = qormath.lyap(a, s)
    assert np.linalg.norm(a @ x + x @ a.T - s) <= 20 * n * EPS * norm(a) * norm(x)
    d = stable(n, 4, discrete=True)
    x = qormath.dlyap(d, s)
    assert np.linalg.norm(d @ x @ d.T - x + s) <= 20 * n * EPS * norm(x)


@pytest.mark.parametrize("n", SIZES)
def test_riccati_solutions_stabilise_and_agree_with_scipy(n):
    rng = np.random.default_rng(n)
    a, b, q, r = rng.standard_normal((n, n)), rng.standard_normal((n, 2)), np.eye(n), np.eye(2)
    x = qormath.care(a, b, q, r)
    wanted = scipy.linalg.solve_continuous_are(a, b, q, r)
    assert np.linalg.norm(x - wanted) <= 1e-8 * norm(wanted)
    assert np.linalg.eigvals(a - b @ b.T @ x).real.max() < 0
    a = stable(n, n, discrete=True) * 1.2  # a few modes outside the unit circle
    x = qormath.dare(a, b, q, r)
    wanted = scipy.linalg.solve_discrete_are(a, b, q, r)
    assert np.linalg.norm(x - wanted) <= 1e-8 * norm(wanted)
    closed = a - b @ np.linalg.solve(r + b.T @ x @ b, b.T @ x @ a)
    assert np.abs(np.linalg.eigvals(closed)).max() < 1


def test_structure_tells_states_that_no_input_reaches():
    a, b = np.diag([0.5, 0.25]), np.array([[1.0], [0.0]])
    found = qormath.controllability(a, b)
    assert not found and found.count == 1
    assert qormath.observability(a, np.array([[1.0, 1.0]]))
    hidden = qormath.detectability(np.diag([0.5, 1.5]), np.array([[1.0, 0.0]]))
    assert (hidden.count, hidden.unstable) == (1, 1)


@pytest.mark.parametrize("function", (qormath.schur, qormath.expm, qormath.logm))
@pytest.mark.parametrize("bad, error, words", (
    (np.ones((2, 3)), qormath.DimensionError, "argument a: expected a square matrix, got shape (2, 3)"),
    (np.ones(3), qormath.DimensionError, "argument a: expected a matrix, got shape (3,)"),
    ([[np.nan]], qormath.LimitError, "argument a: has elements that are not finite"),
    ([[1j]], qormath.LimitError, "argument a: has to be real"),
    ([["x"]], qormath.LimitError, "argument a: has to be an array of numbers"),
))
def test_wrong_matrices_are_refused_by_name(function, bad, error, words):
    with pytest.raises(error) as caught:
        function(bad)
    assert str(caught.value) == words
    assert isinstance(caught.value, qormath.QorMathError)


def test_equations_without_a_solution_say_why():
    with pytest.raises(qormath.SingularError, match="a and -b have eigenvalues too close"):
        qormath.sylvester([[1.0]], [[-1.0]], [[1.0]])
    with pytest.raises(qormath.SingularError, match="sum of 0"):
        qormath.lyap([[0.0]], [[1.0]])
    with pytest.raises(qormath.SingularError, match="stabilis"):
        qormath.care([[1.0]], [[0.0]], [[1.0]], [[1.0]])
    with pytest.raises(qormath.DimensionError, match=r"argument q: expected shape \(1, 2\), got \(2, 1\)"):
        qormath.sylvester([[1.0]], np.eye(2), np.ones((2, 1)))


def test_empty_matrices_give_empty_results():
    empty = np.zeros((0, 0))
    for result in (*qormath.schur(empty), qormath.expm(empty), qormath.lyap(empty, empty), qormath.dlyap(empty, empty)):
        assert result.shape == (0, 0)


def test_arguments_of_either_order_are_left_alone_and_results_are_theirs():
    c = np.random.default_rng(0).standard_normal((6, 6))
    f = np.asfortranarray(c)
    before = c.copy()
    assert (qormath.expm(c) == qormath.expm(f)).all()
    assert (c == before).all() and (f == before).all()
    result = qormath.expm(f)
    assert not result.flags.owndata and result.flags.f_contiguous  # the library's own block
    result[0, 0] = 0.0
    assert (f == before).all()


def test_other_threads_run_while_a_function_computes():
    a = np.random.default_rng(1).standard_normal((500, 500))
    done = threading.Event()
    worker = threading.Thread(target=lambda: (qormath.schur(a), done.set()))
    worker.start()
    turns = 0
    while not done.is_set() and turns < 1000:
        turns += 1
        done.wait(0.001)
    worker.join()
    assert turns > 10  # with the interpreter's lock held there would be one turn, or two
