"""The matrix: running the steps, what they left as one report, and the report as a page."""
