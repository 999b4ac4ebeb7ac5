// The sample rate in a file's header, which `decodeAudioData` doesn't tell.

/** Hz of a WAV, AIFF or FLAC file that browsers can decode at (8 to 96 kHz); otherwise nothing. */
export function sniffRate(bytes: Uint8Array): number | undefined {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  const letters = (at: number) => String.fromCharCode(...bytes.subarray(at, at + 4));
  let rate: number | undefined;
  if (letters(0) === "RIFF" && letters(8) === "WAVE") {
    for (let at = 12; at + 16 <= bytes.length; at += 8 + view.getUint32(at + 4, true) + (view.getUint32(at + 4, true) & 1)) {
      if (letters(at) !== "fmt ") continue;
      rate = view.getUint32(at + 12, true);
      break;
    }
  } else if (letters(0) === "fLaC" && bytes.length > 21) {
    rate = view.getUint32(18) >>> 12;
  } else if (letters(0) === "FORM") {
    for (let at = 12; at + 26 <= bytes.length; at += 8 + view.getUint32(at + 4) + (view.getUint32(at + 4) & 1)) {
      if (letters(at) !== "COMM") continue;
      const exponent = view.getUint16(at + 16) - 16383 - 31;
      rate = view.getUint32(at + 18) * 2 ** exponent;
      break;
    }
  }
  return rate !== undefined && rate >= 8000 && rate <= 96000 ? rate : undefined;
}
