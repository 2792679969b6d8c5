"""Modules that not everybody has."""

from __future__ import annotations

from importlib import import_module
from typing import Any


def optional(module: str, package: str, purpose: str) -> Any:
    """The module, or an ImportError that names the package to install."""
    try:
        return import_module(module)
    except ImportError as error:
        raise ImportError(f"{purpose} needs the package {package}", name=module) from error
