#!/usr/bin/env python3
"""Compares the decimal library with Python's decimal: results to the sign, digit and exponent, and
every condition, over generated cases that lean towards the edges.

Usage: decnumber_oracle.py PROGRAM CASES [SEED [OPERATION...]]

PROGRAM runs the cases (decnumber_oracle.cpp); CASES is how many of each operation.
"""

import decimal
import math
import random
import struct
import subprocess
import sys
from decimal import Decimal

DIGITS, EMAX, EMIN = 52, 98304, -98303
ETINY, ETOP = EMIN - DIGITS + 1, EMAX - DIGITS + 1
ROUNDINGS = [
    decimal.ROUND_CEILING,
    decimal.ROUND_UP,
    decimal.ROUND_HALF_UP,
    decimal.ROUND_HALF_EVEN,
    decimal.ROUND_HALF_DOWN,
    decimal.ROUND_DOWN,
    decimal.ROUND_FLOOR,
    decimal.ROUND_05UP,
]
SIGNALS = [
    (decimal.DivisionByZero, 0x2),
    (decimal.Inexact, 0x20),
    (decimal.InvalidOperation, 0x80),
    (decimal.Overflow, 0x200),
    (decimal.Clamped, 0x400),
    (decimal.Rounded, 0x800),
    (decimal.Subnormal, 0x1000),
    (decimal.Underflow, 0x2000),
]
INEXACT, INVALID, OVERFLOW = 0x20, 0x80, 0x200


def context(rounding, digits=DIGITS):
    return decimal.Context(digits, rounding, EMIN, EMAX, 1, 1, [], [])


CONTEXTS = [context(rounding) for rounding in ROUNDINGS]
# Operands and what the expectations are made of are exact.
decimal.setcontext(decimal.Context(5000, decimal.ROUND_HALF_EVEN, -999999, 999999, traps=[]))


def status_of(ctx):
    flags = ctx.flags
    return sum(bit for signal, bit in SIGNALS if flags[signal])


# --- Operands ---------------------------------------------------------------------------------

EDGES = sorted(
    {
        n
        for power in (31, 32, 52, 53, 63, 64, 65, 127, 128, 129, 171, 172)
        for n in (2**power - 1, 2**power, 2**power + 1)
    }
)
LENGTHS = [1, 2, 5, 9, 18, 19, 20, 25, 26, 27, 37, 38, 39, 50, 51, 52, 52, 52, 52]


class Maker:
    def __init__(self, seed):
        self.random = random.Random(seed)

    def coefficient(self):
        pick, choose = self.random.random(), self.random
        length = choose.choice(LENGTHS) if pick < 0.7 else choose.randint(1, DIGITS)
        if pick < 0.55:
            return choose.randrange(10**length)
        if pick < 0.62:
            return choose.choice(EDGES)
        tail = choose.randint(0, length)
        head = choose.choice([1, 5, 10 ** (length - tail) - 1, choose.randrange(10**length)])
        n = head % 10 ** (length - tail) * 10**tail
        n += choose.choice([0, 0, 1, 10**tail - 1, 5 * 10 ** max(tail - 1, 0)])
        return n % 10**DIGITS

    def exponent(self, near=None):
        pick, choose = self.random.random(), self.random
        if near is not None and pick < 0.85:
            reach = choice_of_reach(choose)
            return min(max(near + choose.randint(-reach, reach), ETINY), ETOP)
        if pick < 0.6 or (near is not None and pick < 0.92):
            return choose.randint(-60, 20)
        if pick < 0.75:
            return choose.randint(ETINY, ETINY + 120)
        if pick < 0.9:
            return choose.randint(ETOP - 120, ETOP)
        return choose.randint(ETINY, ETOP)

    def special(self):
        sign = self.random.choice(["", "-"])
        payload = self.random.choice(["", "7", str(self.random.randrange(1, 10**51))])
        kind = self.random.choice(["Infinity", "NaN" + payload, "sNaN" + payload])
        return Decimal(sign + kind)

    def number(self, near=None):
        if self.random.random() < 0.015:
            return self.special()
        exponent = self.exponent(None if near is None or near.is_nan() else exponent_of(near))
        return make(self.random.choice([0, 0, 1]), self.coefficient(), exponent)

    def pair(self):
        a = self.number()
        return a, self.number(a)


def choice_of_reach(choose):
    return choose.choice([0, 2, 20, 53, 55, 110, 250])


def exponent_of(value):
    exponent = value.as_tuple().exponent
    return exponent if isinstance(exponent, int) else 0


def make(sign, coefficient, exponent):
    return Decimal((sign, tuple(map(int, str(coefficient))), exponent))


def in_format(value):
    """The value, brought into the format by cutting."""
    return context(decimal.ROUND_DOWN).create_decimal(value)


def times(value, factor):
    return in_format(value * factor) if value.is_finite() else value


# --- Pairs that meet in an edge ---------------------------------------------------------------


def sum_operands(maker):
    a, b = maker.pair()
    pick = maker.random.random()
    if pick < 0.2 and a.is_finite():  # cancellation
        near = make(1, maker.random.choice([0, 1, 5, maker.coefficient()]), exponent_of(a) - 2)
        b = in_format(near - a)
    elif pick < 0.4:  # halfway, or just beside it
        a = make(0, 10**52 - maker.random.randrange(1, 9 * 10**51), maker.random.randint(-40, 40))
        gap = maker.random.randint(1, 52)
        b = make(
            maker.random.randint(0, 1),
            5 * 10 ** (gap - 1) + maker.random.choice([-1, 0, 0, 1]),
            exponent_of(a) - gap,
        )
    return a, b


def product_operands(maker):
    a, b = maker.pair()
    if maker.random.random() < 0.25:  # halfway: a multiple of 5 times an odd number
        digits = maker.random.randint(1, 51)
        b = make(0, 5**digits, maker.random.randint(-30, 30))
        a = make(0, maker.random.randrange(1, 10**52, 2), maker.random.randint(-30, 30))
    elif maker.random.random() < 0.3 and a.is_finite():  # about the ends of the range
        end = maker.random.choice([ETINY, ETOP])
        exponent = end - exponent_of(a) + maker.random.randint(-110, 60)
        b = make(0, maker.coefficient(), min(max(exponent, ETINY), ETOP))
    return a, b


def quotient_operands(maker):
    a, b = maker.pair()
    pick = maker.random.random()
    if pick < 0.2 and b.is_finite():  # exact, or nearly
        factor = maker.random.randrange(1, 10 ** maker.random.randint(1, 30))
        a = times(b, factor)
    elif pick < 0.3:  # halfway: an odd number of 53 digits, that ends with 5
        halves = maker.random.randrange(10**51, 10**52 - 1)
        b = make(0, 2 ** maker.random.randint(1, 60), maker.random.randint(-60, 60))
        a = in_format(make(0, halves, 0))
    elif pick < 0.45 and a.is_finite():
        end = maker.random.choice([ETINY, ETOP])
        exponent = exponent_of(a) - end + maker.random.randint(-110, 60)
        b = make(0, maker.coefficient(), min(max(exponent, ETINY), ETOP))
    return a, b


def fma_operands(maker):
    a, b = product_operands(maker)
    c = maker.number()
    if a.is_finite() and b.is_finite() and maker.random.random() < 0.8:
        product = a * b
        c = maker.number(make(0, 1, exponent_of(product) + maker.random.choice([0, 25, 52])))
        if maker.random.random() < 0.3:
            c = in_format(-product)
    return a, b, c


def quantize_operands(maker):
    a = maker.number()
    return a, maker.number(a)


def remainder_operands(maker):
    a, b = quotient_operands(maker)
    if maker.random.random() < 0.2 and b.is_finite():  # about halfway between multiples
        a = times(b, Decimal(maker.random.randrange(10**20)) + Decimal("0.5"))
    return a, b


# --- Texts ------------------------------------------------------------------------------------


def number_text(maker):
    choose = maker.random
    digits = str(maker.coefficient())
    if choose.random() < 0.5:
        digits += str(choose.choice([5, 50, 49999, 5000000001, choose.randrange(10**60)]))
    digits = "0" * choose.choice([0, 0, 0, 1, 9, 70]) + digits
    if choose.random() < 0.05:
        digits += "0" * choose.randrange(200) + str(choose.randrange(3))
    point = choose.randint(-1, len(digits))
    if point >= 0:
        digits = digits[:point] + "." + digits[point:]
    text = choose.choice(["", "", "-", "+"]) + digits
    if choose.random() < 0.6:
        exponent = maker.exponent() if choose.random() < 0.95 else choose.randint(-(10**9), 10**9)
        text += choose.choice("eE") + choose.choice(["", "0", "000"]) * (exponent >= 0)
        text += str(exponent)
    return text


# --- Operations -------------------------------------------------------------------------------


def arithmetic(operands, name):
    def case(maker, round):
        values = operands(maker)
        ctx = CONTEXTS[round]
        return values, getattr(ctx, name)(*values)

    return case


def unary(maker):
    return (maker.number(),)


def whole_number(least, most):
    def case(maker, round):
        value = maker.number()
        if maker.random.random() < 0.5:
            edge = maker.random.choice([least, most]) + maker.random.choice([-1, 0, 1])
            part = maker.random.choice([0, 1, 49, 50, 51, 99])
            value = Decimal(edge * 100 + part).scaleb(-2)
        if value.is_finite() and (value.is_zero() or value.adjusted() < 30):
            whole = int(value.to_integral_value(ROUNDINGS[round]))
            if least <= whole <= most:
                return (value,), whole
        CONTEXTS[round].flags[decimal.InvalidOperation] = True
        return (value,), 0

    return case


def parse(maker, round):
    text = number_text(maker)
    return (text,), CONTEXTS[round].create_decimal(text)


def set_exponent(maker, round):
    value = maker.number()
    exponent = maker.exponent() + maker.random.choice([0, 0, -60, 60])
    if not value.is_finite():
        return (value, exponent), CONTEXTS[round].plus(value)
    moved = Decimal((value.is_signed(), value.as_tuple().digits, exponent))
    return (value, exponent), CONTEXTS[round].create_decimal(moved)


def to_integral(maker, round):
    value = maker.number()
    return (value,), CONTEXTS[round].to_integral_value(value)


def square_root(maker, round):
    value = maker.number()
    if value.is_finite() and maker.random.random() < 0.4:  # squares and their neighbours
        root = maker.coefficient() % 10**26
        value = make(0, root * root + maker.random.choice([-1, 0, 0, 1]) * (root > 1), exponent_of(value))
        value = in_format(value)
    digits = DIGITS  # which a payload is not cut to
    if value.is_finite() and maker.random.random() < 0.3:
        digits = maker.random.randint(1, DIGITS)
    ctx = context(ROUNDINGS[round], digits)
    result = ctx.sqrt(value)
    for signal, _ in SIGNALS:
        CONTEXTS[round].flags[signal] = ctx.flags[signal]
    return (value, digits), result


def from_double(maker, round):
    choose = maker.random
    number = struct.unpack("<d", struct.pack("<Q", choose.getrandbits(64)))[0]
    pick = choose.random()
    if pick < 0.3:
        number = choose.choice([-1, 1]) * choose.randrange(10**9) / choose.choice([1, 8, 10, 100])
    elif pick < 0.4:
        number = float(2**53 + choose.randint(-3, 3)) * choose.choice([1, 1, -1, 1024])
    if math.isnan(number):
        return ("nan",), Decimal("NaN")
    small = number == int(number) if abs(number) < 2**53 else False
    result = Decimal(number) if small else Decimal(repr(number)).normalize()
    return (repr(number),), result


def to_double(maker, round):
    value = maker.number()
    pick = maker.random.random()
    if pick < 0.5 and value.is_finite():
        value = make(value.is_signed(), int(value.scaleb(-exponent_of(value)).copy_abs()),
                     maker.random.choice([0, -300, 280, -330]) + maker.random.randint(-60, 60))
    elif pick < 0.7:  # halfway between two doubles
        value = Decimal((2**53 + 1) * 2 + 1) * maker.random.choice([1, 2**40, Decimal("0.0625")])
    if value.is_nan():
        CONTEXTS[round].flags[decimal.InvalidOperation] = value.is_snan()
        return (value,), "-nan" if value.is_signed() else "nan"
    number = float(value)
    if value.is_finite():
        CONTEXTS[round].flags[decimal.Overflow] = math.isinf(number)
        CONTEXTS[round].flags[decimal.Inexact] = math.isinf(number) or Decimal(number) != value
    return (value,), "%.17g" % number


def bcd(maker, round):
    value = make(maker.random.randint(0, 1), maker.coefficient(), maker.exponent())
    sign, digits, exponent = value.as_tuple()
    text = "".join(map(str, digits))
    return (value,), f"{'-' if sign else '+'}{text:0>{DIGITS}}E{exponent}D{len(digits)}"


OPERATIONS = {
    "add": arithmetic(sum_operands, "add"),
    "subtract": arithmetic(sum_operands, "subtract"),
    "multiply": arithmetic(product_operands, "multiply"),
    "divide": arithmetic(quotient_operands, "divide"),
    "fma": arithmetic(fma_operands, "fma"),
    "divide_int": arithmetic(quotient_operands, "divide_int"),
    "remainder": arithmetic(remainder_operands, "remainder"),
    "remainder_near": arithmetic(remainder_operands, "remainder_near"),
    "quantize": arithmetic(quantize_operands, "quantize"),
    "compare": arithmetic(sum_operands, "compare"),
    "minus": arithmetic(unary, "minus"),
    "plus": arithmetic(unary, "plus"),
    "abs": arithmetic(unary, "abs"),
    "reduce": arithmetic(unary, "normalize"),
    "to_integral": to_integral,
    "set_exponent": set_exponent,
    "sqrt": square_root,
    "parse": parse,
    "bcd": bcd,
    "to_int64": whole_number(-(2**63), 2**63 - 1),
    "to_uint64": whole_number(0, 2**64 - 1),
    "to_uint32": whole_number(0, 2**32 - 1),
    "from_double": from_double,
    "to_double": to_double,
}


def lines(maker, name, count):
    case = OPERATIONS[name]
    for _ in range(count):
        round = maker.random.choice([3, 3, 3, *range(8)])
        CONTEXTS[round].clear_flags()
        operands, result = case(maker, round)
        status = status_of(CONTEXTS[round])
        yield f"{name} {round} {' '.join(map(str, operands))} = {result} {status}\n"


def main():
    program, count = sys.argv[1], int(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 52
    checker = subprocess.Popen([program], stdin=subprocess.PIPE, text=True)
    try:
        for name in sys.argv[4:] or OPERATIONS:
            checker.stdin.writelines(lines(Maker(f"{seed} {name}"), name, count))
        checker.stdin.close()
    except BrokenPipeError:
        pass  # it found enough
    return checker.wait()


if __name__ == "__main__":
    sys.exit(main())
