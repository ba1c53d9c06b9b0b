# SPDX-License-Identifier: MIT
"""The exceptions of the orvex package. Every failure a reader call reports
is an OrvexError carrying the method's name and its result code."""


class OrvexError(Exception):
    """A reader call failed: .method names it, .code is its result code."""

    def __init__(self, message, method=None, code=None):
        super().__init__(message)
        self.method = method
        self.code = code


class LinkError(OrvexError):
    """Nothing could be sent, nothing came back in time, or the answer was
    malformed; also a reader that cannot be opened."""


class ReaderRefused(OrvexError):
    """The reader answered with a non-zero status (no card, wrong key...)."""


class UnknownConnection(OrvexError, ValueError):
    """The connection string does not parse."""


class ReaderClosed(OrvexError, ValueError):
    """A call on a reader that was closed."""


class DisplayError(OrvexError):
    """A display reader method failed (results of that family differ)."""


class FelicaError(OrvexError):
    """A FeliCa or identity-card number method failed."""


class SLE4442Error(OrvexError):
    """An SLE4442 contact card method failed."""


class CardApplicationError(OrvexError):
    """A method of the reader's card application failed."""


class NDEFError(OrvexError):
    """An NDEF method failed, or a message does not fit the tag."""


class TopazError(OrvexError):
    """A Topaz tag method failed."""
