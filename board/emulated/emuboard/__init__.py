"""The emulated board: a 64-bit Arm computer in QEMU that carries the daemon and its peripherals."""
