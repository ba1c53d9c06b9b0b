# SPDX-License-Identifier: MIT
"""pytest plugin of the orvex package: the fixture `orvex_sim`, a fresh
simulated reader per test (a MIFARE Classic 1K and an NTAG215 in its field
unless the test is marked otherwise):

    # conftest.py
    pytest_plugins = ["orvex.pytest_plugin"]

    # test_mine.py
    import pytest, orvex

    @pytest.mark.orvex_cards("ntag215")
    def test_scan(orvex_sim):
        with orvex.Reader(orvex_sim) as reader:
            assert reader.scan()[0].family == "ntag"
"""
import pytest

DEFAULT_CARDS = ("mfc1k", "ntag215")


def pytest_configure(config):
    config.addinivalue_line("markers", "orvex_cards(*cards): cards in the field of orvex_sim, each \"kind[:ID]\"")
    config.addinivalue_line("markers", "orvex_display: orvex_sim is the display reader")


@pytest.fixture
def orvex_sim(request):
    """A simulated reader on a pseudo-terminal, stopped after the test."""
    from .sim import Simulator
    mark = request.node.get_closest_marker("orvex_cards")
    cards = list(mark.args) if mark else list(DEFAULT_CARDS)
    display = request.node.get_closest_marker("orvex_display") is not None
    sim = Simulator(cards=cards, display=display)
    yield sim
    sim.stop()
