# SPDX-License-Identifier: MIT
# The package's own tests use the fixture it ships to its users.
import os
import sys

pytest_plugins = ["orvex.pytest_plugin"]

SOURCE_DIR = os.environ.get("ORVEX_SOURCE_DIR",
                            os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
sys.path.insert(0, os.path.join(SOURCE_DIR, "scripts"))
