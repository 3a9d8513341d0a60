"""Metrics of switches for Prometheus."""
