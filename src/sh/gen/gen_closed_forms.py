#!/usr/bin/env python3
"""Generate the closed-form evaluators of the real spherical harmonics.

The basis, for 0 <= m <= l:

    Y(l, 0)  = K(l, 0) * P_l(z)
    Y(l, +m) = (-1)^m * sqrt(2) * K(l, m) * D(l, m)(z) * C_m(x, y)
    Y(l, -m) = (-1)^m * sqrt(2) * K(l, m) * D(l, m)(z) * S_m(x, y)

with P_l the Legendre polynomial, D(l, m) its m-th derivative, C_m + i S_m =
(x + iy)^m and K(l, m) = sqrt((2l+1)/(4 pi) * (l-m)!/(l+m)!).

Every D(l, m) is written as a positive rational content times a polynomial
with coprime integer coefficients; the content goes into the coefficient's
constant, which is computed exactly (fractions, then 60 significant digits of
decimal arithmetic) and rounded once to the nearest double.

Two C++ files are written:

  sh_closed_form_all_gen.cpp   shClosedFormDirection: bands 0..L of one
                               direction, each intermediate built once and
                               reused by later bands.
  sh_closed_form_band_gen.cpp  shClosedFormBandBlocks: one block per band,
                               each with its own loop over the directions.

Usage:  gen_closed_forms.py OUTPUT_DIR          write both files
        gen_closed_forms.py --check OUTPUT_DIR  exit 1 if they differ
"""

import decimal
import sys
from fractions import Fraction
from math import comb, factorial, gcd
from pathlib import Path

MAX_BAND = 15
FLOAT_POWER_LIMIT = 8  # powers of x and y above this are double products

decimal.getcontext().prec = 60


# --------------------------------------------------------------------------
# Exact mathematics
# --------------------------------------------------------------------------

def decimal_pi():
    """pi by Machin's formula, to the working precision."""
    def arctan_inverse(n):
        n = decimal.Decimal(n)
        n2 = n * n
        term = 1 / n
        total = term
        k = 1
        while True:
            term /= -n2
            delta = term / (2 * k + 1)
            if total + delta == total:
                return total
            total += delta
            k += 1
    return 16 * arctan_inverse(5) - 4 * arctan_inverse(239)


PI = decimal_pi()


def legendre(l):
    """Coefficients of P_l, index = power of z."""
    coeffs = [Fraction(0)] * (l + 1)
    for k in range(l // 2 + 1):
        coeffs[l - 2 * k] = Fraction((-1) ** k * comb(l, k) * comb(2 * l - 2 * k, l), 2 ** l)
    return coeffs


def derivative(coeffs, times):
    for _ in range(times):
        coeffs = [coeffs[p] * p for p in range(1, len(coeffs))]
    return coeffs


def split_content(coeffs):
    """Write a polynomial as content * (coprime integer polynomial)."""
    nonzero = [c for c in coeffs if c != 0]
    num = 0
    den = 1
    for c in nonzero:
        num = gcd(num, c.numerator)
        den = den * c.denominator // gcd(den, c.denominator)
    content = Fraction(num, den)
    return content, [int(c / content) for c in coeffs]


def constant_of(l, m, content):
    """(-1)^m * sqrt(2 - [m == 0]) * K(l, m) * content, rounded to a double."""
    radicand = Fraction(2 * l + 1, 4) * Fraction(factorial(l - m), factorial(l + m))
    if m > 0:
        radicand *= 2
    root = (decimal.Decimal(radicand.numerator) / decimal.Decimal(radicand.denominator) / PI).sqrt()
    value = root * decimal.Decimal(content.numerator) / decimal.Decimal(content.denominator)
    if m % 2 == 1:
        value = -value
    return float(value)


def z_polynomial(l, m):
    """(constant, integer coefficients of z^(parity + 2k), parity) of Y(l, +-m)."""
    content, ints = split_content(derivative(legendre(l), m))
    parity = (l - m) % 2
    even_part = [ints[parity + 2 * k] for k in range((l - m) // 2 + 1)]
    return constant_of(l, m, content), tuple(even_part), parity


def binomial_terms(m, want_sine):
    """Terms (sign * binom, x power, y power) of C_m or S_m."""
    terms = []
    for k in range(1 if want_sine else 0, m + 1, 2):
        sign = -1 if (k // 2) % 2 else 1
        terms.append((sign * comb(m, k), m - k, k))
    return terms


# --------------------------------------------------------------------------
# Code emission helpers
# --------------------------------------------------------------------------

def cpp_double(value):
    text = repr(float(value))
    if 'e' not in text and '.' not in text:
        text += '.0'
    return text


def sum_expression(terms):
    """Left-to-right sum of (integer coefficient, operand) terms."""
    text = ''
    for coeff, operand in terms:
        if operand is None:
            piece = cpp_double(abs(coeff))
        elif abs(coeff) == 1:
            piece = operand
        else:
            piece = f'{cpp_double(abs(coeff))} * {operand}'
        if not text:
            text = piece if coeff > 0 else f'-{piece}'
        else:
            text += (' + ' if coeff > 0 else ' - ') + piece
    return text


def z_part(scope, name, constant, poly):
    """The factor shared by Y(l, +m) and Y(l, -m): constant times z-polynomial."""
    if poly is None:
        return cpp_double(constant)
    scope.emit(f'const double {name} = {cpp_double(constant)} * {poly};')
    return name


class Scope:
    """Names already defined in the generated code, in definition order."""

    def __init__(self, lines, indent):
        self.lines = lines
        self.indent = indent
        self.defined = set()

    def define(self, name, declaration):
        if name not in self.defined:
            self.defined.add(name)
            self.lines.append(self.indent + declaration)

    def emit(self, text):
        self.lines.append(self.indent + text)


# --------------------------------------------------------------------------
# All bands of one direction: single-precision powers shared between bands
# --------------------------------------------------------------------------

class SharedPowers:
    """Intermediates of shClosedFormDirection.

    z^2..z^8 are single-precision products (z^5 = z^2 z^3, z^6 = (z^3)^2,
    z^8 = (z^4)^2); z^10, z^12, z^14 are double products of those.  Powers of
    x and y up to the eighth are formed in double and kept in single; higher
    ones are double products of two kept powers.
    """

    def __init__(self, scope):
        self.scope = scope
        self.polys = {}

    def z_power(self, p):
        """Expression (double) for z^p, p even, or z itself."""
        s = self.scope
        if p == 1:
            return 'zd'
        if p in (2, 3, 4, 5, 6, 8):
            recipe = {2: ('z', 'z'), 3: ('z2', 'z'), 4: ('z2', 'z2'),
                      5: ('z2', 'z3'), 6: ('z3', 'z3'), 8: ('z4', 'z4')}[p]
            for factor in recipe:
                if factor != 'z':
                    self.z_power(int(factor[1:]))
            s.define(f'z{p}', f'const float z{p} = {recipe[0]} * {recipe[1]};')
            return f'static_cast<double>(z{p})'
        recipe = {10: (5, 5), 12: (6, 6), 14: (6, 8)}[p]
        for factor in recipe:
            self.z_power(factor)
        s.define(f'z{p}', f'const double z{p} = static_cast<double>(z{recipe[0]}) * '
                          f'static_cast<double>(z{recipe[1]});')
        return f'z{p}'

    def xy_power(self, axis, p):
        s = self.scope
        if p == 1:
            return f'{axis}d'
        if p <= FLOAT_POWER_LIMIT:
            self.xy_power(axis, p - 1)
            previous = f'{axis}d' if p == 2 else f'static_cast<double>({axis}{p - 1})'
            s.define(f'{axis}{p}', f'const float {axis}{p} = static_cast<float>({previous} * {axis}d);')
            return f'static_cast<double>({axis}{p})'
        low = p - FLOAT_POWER_LIMIT
        high = self.xy_power(axis, FLOAT_POWER_LIMIT)
        low_expr = self.xy_power(axis, low)
        s.define(f'{axis}{p}', f'const double {axis}{p} = {high} * {low_expr};')
        return f'{axis}{p}'

    def harmonic(self, m, want_sine):
        if m == 1:
            return 'yd' if want_sine else 'xd'
        name = f'{"s" if want_sine else "c"}{m}'
        if name in self.scope.defined:
            return name
        parts = []
        for coeff, px, py in binomial_terms(m, want_sine):
            factors = [self.xy_power('x', px) if px else None,
                       self.xy_power('y', py) if py else None]
            factors = [f for f in factors if f]
            parts.append((coeff, ' * '.join(factors)))
        self.scope.define(name, f'const double {name} = {sum_expression(parts)};')
        return name

    def polynomial(self, even_coeffs, parity):
        key = (even_coeffs, parity)
        if even_coeffs == (1,):
            return 'zd' if parity else None
        if key in self.polys:
            return self.polys[key]
        terms = [(c, self.z_power(2 * k) if k else None)
                 for k, c in enumerate(even_coeffs) if c != 0]
        expr = sum_expression(terms)
        if parity:
            expr = f'zd * ({expr})'
        name = f'p{len(self.polys)}'
        self.scope.define(name, f'const double {name} = {expr};')
        self.polys[key] = name
        return name


def emit_all_bands():
    lines = []
    scope = Scope(lines, '  ')
    shared = SharedPowers(scope)
    scope.emit('const double xd = x;')
    scope.emit('const double yd = y;')
    scope.emit('const double zd = z;')
    scope.defined.update({'xd', 'yd', 'zd'})
    for l in range(MAX_BAND + 1):
        scope.emit('')
        scope.emit(f'// Band {l}')
        base = l * l + l
        if l == 0:
            constant, _, _ = z_polynomial(0, 0)
            scope.emit(f'dst[0] = static_cast<float>({cpp_double(constant)});')
        for m in range(0, l + 1):
            if l == 0:
                break
            constant, coeffs, parity = z_polynomial(l, m)
            poly = shared.polynomial(coeffs, parity)
            if m == 0:
                scope.emit(f'dst[{base}] = static_cast<float>({cpp_double(constant)} * {poly});')
                continue
            cos_name = shared.harmonic(m, False)
            sin_name = shared.harmonic(m, True)
            zpart = z_part(scope, f'k{l}_{m}', constant, poly)
            scope.emit(f'dst[{base - m}] = static_cast<float>({zpart} * {sin_name});')
            scope.emit(f'dst[{base + m}] = static_cast<float>({zpart} * {cos_name});')
        if l < MAX_BAND:
            scope.emit(f'if (order == {l})')
            scope.emit('  return;')
    body = '\n'.join(line.rstrip() for line in lines)
    return f'''{HEADER}
#include "sh/sh_closed_form.h"

// Bands 0..order of one direction, order <= 15.  Intermediates computed for
// one band (powers, C_m and S_m, z-polynomials) are reused by the later ones.
void shClosedFormDirection(float x, float y, float z, float* dst, uint32_t order) {{
{body}
}}
'''


# --------------------------------------------------------------------------
# One band: each block stands alone
# --------------------------------------------------------------------------

class BandPowers:
    """Intermediates of one band block: x and y powers in double, even powers
    of z in single precision (z^2, z^4 = (z^2)^2, z^6 = z^4 z^2, z^8 = (z^4)^2,
    z^10 = z^8 z^2, z^12 = z^8 z^4, z^14 = z^8 z^6)."""

    Z_RECIPES = {2: ('z', 'z'), 4: ('z2', 'z2'), 6: ('z4', 'z2'), 8: ('z4', 'z4'),
                 10: ('z8', 'z2'), 12: ('z8', 'z4'), 14: ('z8', 'z6')}

    def __init__(self, scope):
        self.scope = scope
        self.polys = {}

    def z_power(self, p):
        a, b = self.Z_RECIPES[p]
        for factor in (a, b):
            if factor != 'z':
                self.z_power(int(factor[1:]))
        self.scope.define(f'z{p}', f'const float z{p} = {a} * {b};')
        return f'static_cast<double>(z{p})'

    def xy_power(self, axis, p):
        if p == 1:
            return f'{axis}d'
        self.xy_power(axis, p - 1)
        previous = f'{axis}d' if p == 2 else f'{axis}{p - 1}'
        self.scope.define(f'{axis}{p}', f'const double {axis}{p} = {previous} * {axis}d;')
        return f'{axis}{p}'

    def harmonic(self, m, want_sine):
        if m == 1:
            return 'yd' if want_sine else 'xd'
        name = f'{"s" if want_sine else "c"}{m}'
        parts = []
        for coeff, px, py in binomial_terms(m, want_sine):
            factors = [self.xy_power('x', px) if px else None,
                       self.xy_power('y', py) if py else None]
            parts.append((coeff, ' * '.join(f for f in factors if f)))
        self.scope.define(name, f'const double {name} = {sum_expression(parts)};')
        return name

    def polynomial(self, even_coeffs, parity):
        if even_coeffs == (1,):
            return 'zd' if parity else None
        terms = [(c, self.z_power(2 * k) if k else None)
                 for k, c in enumerate(even_coeffs) if c != 0]
        expr = sum_expression(terms)
        if parity:
            expr = f'zd * ({expr})'
        return f'({expr})'


def emit_band_block(l):
    if l == 0:
        constant, _, _ = z_polynomial(0, 0)
        return f'''void shBandBlock0(const float*, const float*, const float*, int32_t count, float* dst) {{
  // The constant alone: no coordinate is read.
  const float y00 = static_cast<float>({cpp_double(constant)});
  for (int32_t i = 0; i < count; ++i) dst[i] = y00;
}}
'''
    lines = []
    scope = Scope(lines, '    ')
    powers = BandPowers(scope)
    scope.emit('const double xd = x[i];')
    scope.emit('const double yd = y[i];')
    scope.emit('const float z = zs[i];')
    scope.emit('const double zd = z;')
    scope.defined.update({'xd', 'yd', 'z', 'zd'})
    for m in range(0, l + 1):
        constant, coeffs, parity = z_polynomial(l, m)
        poly = powers.polynomial(coeffs, parity)
        if m == 0:
            scope.emit(f'dst[{l}] = static_cast<float>({cpp_double(constant)} * {poly});')
            continue
        cos_name = powers.harmonic(m, False)
        sin_name = powers.harmonic(m, True)
        zpart = z_part(scope, f'k{m}', constant, poly)
        scope.emit(f'dst[{l - m}] = static_cast<float>({zpart} * {sin_name});')
        scope.emit(f'dst[{l + m}] = static_cast<float>({zpart} * {cos_name});')
    body = '\n'.join(line.rstrip() for line in lines)
    return f'''void shBandBlock{l}(const float* x, const float* y, const float* zs, int32_t count, float* dst) {{
  for (int32_t i = 0; i < count; ++i, dst += {2 * l + 1}) {{
{body}
  }}
}}
'''


def emit_band_blocks():
    blocks = '\n'.join(emit_band_block(l) for l in range(MAX_BAND + 1))
    table = ',\n'.join(f'    shBandBlock{l}' for l in range(MAX_BAND + 1))
    return f'''{HEADER}
#include "sh/sh_closed_form.h"

namespace {{

{blocks}
}}  // namespace

const ShBandBlock shClosedFormBandBlocks[16] = {{
{table},
}};
'''


HEADER = '''// Generated by src/sh/gen/gen_closed_forms.py from the defining formula of
// the real spherical harmonics.  Do not edit: change the generator and run it
// again (a test checks that this file is current).'''


def main(argv):
    check = '--check' in argv
    args = [a for a in argv if a != '--check']
    if len(args) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    out_dir = Path(args[0])
    outputs = {
        'sh_closed_form_all_gen.cpp': emit_all_bands(),
        'sh_closed_form_band_gen.cpp': emit_band_blocks(),
    }
    stale = []
    for name, text in outputs.items():
        path = out_dir / name
        if check:
            if not path.exists() or path.read_text() != text:
                stale.append(name)
        else:
            path.write_text(text)
    if stale:
        print('out of date, run the generator: ' + ', '.join(stale), file=sys.stderr)
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
