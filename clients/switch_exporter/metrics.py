"""Metric families that grow sample by sample."""

from collections.abc import Iterator
from dataclasses import dataclass, field

from prometheus_client import Metric, generate_latest
from prometheus_client.registry import Collector, CollectorRegistry


@dataclass(eq=False)
class Metrics(Collector):
    _families: dict[str, Metric] = field(default_factory=dict)

    def gauge(self, name: str, text: str, value: float, /, **labels: object) -> None:
        self._add("gauge", name, name, text, value, labels)

    def counter(self, name: str, text: str, value: float, /, **labels: object) -> None:
        self._add("counter", name, f"{name}_total", text, value, labels)

    def _add(
        self,
        kind: str,
        family: str,
        sample: str,
        text: str,
        value: float,
        labels: dict[str, object],
    ) -> None:
        held = self._families.setdefault(family, Metric(f"switch_{family}", text, kind))
        texts = {name: str(one) for name, one in labels.items()}
        held.add_sample(f"switch_{sample}", texts, value)

    def collect(self) -> Iterator[Metric]:
        return iter(self._families.values())

    def text(self) -> bytes:
        registry = CollectorRegistry()
        registry.register(self)
        return generate_latest(registry)
