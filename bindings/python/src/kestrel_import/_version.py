__version__ = "2.0.0"
