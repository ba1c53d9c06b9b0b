# SPDX-License-Identifier: MIT
"""DES and two-key triple-DES of the library, on whole 8-byte blocks (ECB,
or CBC with an IV); no reader needed. Calls take the library's one DES lock."""
from . import _orvex

_LINK = _orvex.Link()  # not open: the DES methods need no link


def _args(key, data, key_sizes):
    if not isinstance(key, bytes) or not isinstance(data, bytes):
        raise TypeError("key and data must be bytes")
    if len(key) not in key_sizes:
        raise ValueError(f"the key must be {' or '.join(map(str, key_sizes))} bytes, not {len(key)}")
    if len(data) % 8:
        raise ValueError(f"data must be whole 8-byte blocks, not {len(data)} bytes")


def des_encrypt(key, data):
    """Single DES, ECB, with an 8-byte key."""
    _args(key, data, (8,))
    return b"".join(_LINK.DES(0, key, data[i:i + 8]) for i in range(0, len(data), 8))


def des_decrypt(key, data):
    _args(key, data, (8,))
    return b"".join(_LINK.DES(1, key, data[i:i + 8]) for i in range(0, len(data), 8))


def tdes_encrypt(key, data, iv=None):
    """Two-key triple-DES (16-byte key), ECB, or CBC when iv is given."""
    _args(key, data, (16,))
    if iv is None:
        return b"".join(_LINK.DES3(0, key, data[i:i + 8]) for i in range(0, len(data), 8))
    if not isinstance(iv, bytes) or len(iv) != 8:
        raise ValueError("the IV is 8 bytes")
    out, chain = [], iv
    for i in range(0, len(data), 8):
        chain = _LINK.DES3_CBC(0, key, data[i:i + 8], chain)
        out.append(chain)
    return b"".join(out)


def tdes_decrypt(key, data, iv=None):
    _args(key, data, (16,))
    if iv is None:
        return b"".join(_LINK.DES3(1, key, data[i:i + 8]) for i in range(0, len(data), 8))
    if not isinstance(iv, bytes) or len(iv) != 8:
        raise ValueError("the IV is 8 bytes")
    out, chain = [], iv
    for i in range(0, len(data), 8):
        block = data[i:i + 8]
        out.append(_LINK.DES3_CBC(1, key, block, chain))
        chain = block
    return b"".join(out)
