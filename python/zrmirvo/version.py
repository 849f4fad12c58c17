"""The version of this package. Its first two numbers are those of the tools that it drives."""

__version__ = "3.6.6"
