"""The main knobs as attributes. Written by scripts/python-knobs from the engine's table: don't edit."""

from ._descriptors import Choice, Number, Switch


class Knobs:
    """The effect's main knobs; `parameters` has the rarer ones, too."""

    __slots__ = ()

    fx_type = Choice(
        'fx_type',
        'Effect: off, band-pass, comb, crusher, distortion, harmonizer. effect of every voice',
    )
    prismelion = Number(
        'prismelion',
        'Prismelion: 0 to 1. how far the voices spread apart',
    )
    voices = Number(
        'voices',
        'Voices: 1 to 8. number of voices on each side',
    )
    bandpass_cutoff = Number(
        'bandpass_cutoff',
        'Band-pass centre: 20 Hz to 20 kHz. centre of the band-pass',
    )
    bandpass_resonance = Number(
        'bandpass_resonance',
        'Band-pass resonance: 0.71 to 15. Q of the band-pass',
    )
    comb_cutoff = Number(
        'comb_cutoff',
        'Comb pitch: 20 Hz to 20 kHz. pitch of the comb',
    )
    comb_resonance = Number(
        'comb_resonance',
        'Comb feedback: 5 to 25. feedback of the comb',
    )
    bit_crusher_downsample = Number(
        'bit_crusher_downsample',
        "Crusher rate divider: 1x to 80x. divides the crusher's rate of 44.1 kHz",
    )
    bit_crusher_bit_depth = Number(
        'bit_crusher_bit_depth',
        'Crusher bits: 1.5 bits to 16 bits. word length of the crusher; a fresh processor sounds as at 1.5 until it is written',
    )
    distortion_drive = Number(
        'distortion_drive',
        'Distortion drive: -14 dB to 36 dB. gain into the distortion',
    )
    distortion_algorithm = Choice(
        'distortion_algorithm',
        'Distortion kind: soft clip, tube, sine fold, wavefolder. kind of distortion',
    )
    harmonizer_chord = Choice(
        'harmonizer_chord',
        'Harmonizer chord: octaves, fifths, minor, minor 7th, minor add9, major, dominant 7th, major 7th, major add9, major 6/9, sus2, sus4. intervals of the voices',
    )
    harmonizer_spray = Number(
        'harmonizer_spray',
        'Harmonizer spray: 0 ms to 1.5 s. scatters the grains; in its upper half it opens the feedback',
    )
    feedback_delay_time = Number(
        'feedback_delay_time',
        "Feedback delay: 2 ms to 1 s. delay of the harmonizer's feedback",
    )
    wet = Number(
        'wet',
        'Wet: 0 to 1. dry to wet, at equal power',
    )
    input_gain = Number(
        'input_gain',
        'Input gain: -24 dB to 24 dB. gain into the voices',
    )
    wet_gain = Number(
        'wet_gain',
        'Wet gain: -24 dB to 24 dB. gain of the wet signal',
    )
    output_gain = Number(
        'output_gain',
        'Output gain: -12 dB to 12 dB. final gain, wet and mixed dry together',
    )
    hpf_cutoff = Number(
        'hpf_cutoff',
        'High-pass: 20 Hz to 20 kHz. high-pass in front of the voices',
    )
    lpf_cutoff = Number(
        'lpf_cutoff',
        'Low-pass: 20 Hz to 20 kHz. low-pass behind the voices',
    )
    lfo_prismel_amount = Number(
        'lfo_prismel_amount',
        "LFO to Prismelion: -1 to 1. depth of the LFO on 'Prismelion'",
    )
    lfo_primary_amount = Number(
        'lfo_primary_amount',
        "LFO to effect knob: -1 to 1. depth of the LFO on the effect's first knob",
    )
    lfo_shape_type = Choice(
        'lfo_shape_type',
        'LFO shape: sine, triangle, falling saw, square, sample and hold, smooth random. waveform of the LFO',
    )
    lfo_rate_type = Choice(
        'lfo_rate_type',
        "LFO sync: free, synced all, synced straight, synced triplet, synced dotted. what sets the LFO's rate",
    )
    lfo_rate_unsynced = Number(
        'lfo_rate_unsynced',
        'LFO rate: 0.025 Hz to 50 Hz. rate while free',
    )
    lfo_rate_synced = Choice(
        'lfo_rate_synced',
        'LFO note length: 16/1, 8/1, 4/1, 2/1, 1/1, 1/2, 1/4, 1/8, 1/16, 1/32. cycle while straight, triplet or dotted',
    )
    lfo_all_rate_synced = Choice(
        'lfo_all_rate_synced',
        'LFO note length (all): 16/1 dotted, 16/1, 8/1 dotted, 16/1 triplet, 8/1, 4/1 dotted, 8/1 triplet, 4/1, 2/1 dotted, 4/1 triplet, 2/1, 1/1 dotted, 2/1 triplet, 1/1, 1/2 dotted, 1/1 triplet, 1/2, 1/4 dotted, 1/2 triplet, 1/4, 1/8 dotted, 1/4 triplet, 1/8, 1/16 dotted, 1/8 triplet, 1/16, 1/32 dotted, 1/16 triplet, 1/32, 1/32 triplet. cycle while synced to all lengths',
    )
    lfo_phase_init = Number(
        'lfo_phase_init',
        'LFO start phase: 0 deg to 360 deg. phase at the start of a cycle',
    )
    lfo_swing = Number(
        'lfo_swing',
        'LFO swing: 50% to 75%. share of the first of two cycles',
    )
    bypass = Switch(
        'bypass',
        'Bypass: off, on. fades to the dry signal in 10 ms',
    )
