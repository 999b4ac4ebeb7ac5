"""What the package raises."""


class PrismelError(ValueError):
    """Something was asked for that can't be: one sentence on what was wrong and what would be right."""
