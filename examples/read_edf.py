#!/usr/bin/env python3
"""Reads the EDF+ file of an export with MNE (python3-mne, or pip install mne).

    read_edf.py NAME.edf
"""
import sys

import mne

raw = mne.io.read_raw_edf(sys.argv[1], preload=True, verbose="error")
ecg = raw.get_data(picks=["ECG"])[0] * 1e6  # MNE has volts
print(f"{raw.info['sfreq']:.0f} samples per second, {raw.n_times} samples, begun {raw.info['meas_date']}")
print(f"ECG from {ecg.min():.0f} to {ecg.max():.0f} microvolts")
for marker in raw.annotations:
    print(f"marker {marker['description']} at {marker['onset']:.3f} s")
