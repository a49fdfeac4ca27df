#!/usr/bin/env python3
"""Writes the expected Base64 texts for inputs of 0 to 200 bytes, made by Python's base64.

Line form: "<length> <text>", with each line break of the text written as "|".
Input of length n: byte i is (7 * i + 13 * n + 1) mod 256 (the test makes the same bytes).

encodebytes() breaks after every 76 characters and also after a last, shorter line; our
encoder breaks only after full lines, so the final break stays only when the input is a
whole number of 57-byte lines.
"""
import base64
import sys


def pattern(n):
    return bytes((7 * i + 13 * n + 1) % 256 for i in range(n))


def main(out_path):
    with open(out_path, "w", encoding="ascii") as out:
        for n in range(201):
            text = base64.encodebytes(pattern(n)).decode("ascii")
            if n % 57 != 0 and text.endswith("\n"):
                text = text[:-1]
            out.write("%d %s\n" % (n, text.replace("\n", "|")))


if __name__ == "__main__":
    main(sys.argv[1])
