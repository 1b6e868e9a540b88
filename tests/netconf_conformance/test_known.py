"""That what is known not to hold is still looked at."""

import glob
import importlib
import os

from netconf_conformance.checks import Checks
from netconf_conformance.known import KNOWN


def test_each_of_them_is_a_check():
    names = set()
    for path in glob.glob(f"{os.path.dirname(__file__)}/test_rfc*.py"):
        module = importlib.import_module(f"netconf_conformance.{os.path.basename(path)[:-3]}")
        names |= {name for value in vars(module).values() if isinstance(value, Checks)
                  for name in value.rows}
    assert len(names) >= 300
    assert set(KNOWN) <= names
