// WAV files of 32-bit float samples, as `prismel render -f float` writes and reads them.

/** The bytes of a file. Channels of equal length. */
export function writeWav(channels: readonly Float32Array[], sampleRate: number): Uint8Array<ArrayBuffer> {
  const frames = channels[0]?.length ?? 0;
  const count = channels.length;
  const dataBytes = frames * count * 4;
  const view = new DataView(new ArrayBuffer(58 + dataBytes));
  const text = (at: number, letters: string) => {
    for (let i = 0; i < 4; ++i) view.setUint8(at + i, letters.charCodeAt(i));
  };
  text(0, "RIFF");
  view.setUint32(4, 50 + dataBytes, true);
  text(8, "WAVE");
  text(12, "fmt ");
  view.setUint32(16, 18, true);
  view.setUint16(20, 3, true);  // IEEE float
  view.setUint16(22, count, true);
  view.setUint32(24, sampleRate, true);
  view.setUint32(28, sampleRate * count * 4, true);
  view.setUint16(32, count * 4, true);
  view.setUint16(34, 32, true);
  view.setUint16(36, 0, true);
  text(38, "fact");
  view.setUint32(42, 4, true);
  view.setUint32(46, frames, true);
  text(50, "data");
  view.setUint32(54, dataBytes, true);
  let at = 58;
  for (let i = 0; i < frames; ++i) {
    for (let c = 0; c < count; ++c, at += 4) view.setFloat32(at, channels[c]![i]!, true);
  }
  return new Uint8Array(view.buffer);
}

/** A file of 32-bit float samples, of whatever chunks. Throws where it is none. */
export function readWav(bytes: Uint8Array): { sampleRate: number; channels: Float32Array<ArrayBuffer>[] } {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  let sampleRate = 0, count = 0;
  for (let at = 12; at + 8 <= bytes.length; ) {
    const name = String.fromCharCode(...bytes.subarray(at, at + 4));
    const size = view.getUint32(at + 4, true);
    if (name === "fmt ") {
      count = view.getUint16(at + 10, true);
      sampleRate = view.getUint32(at + 12, true);
      if (view.getUint16(at + 22, true) !== 32) break;
    }
    if (name === "data" && count > 0) {
      const frames = Math.floor(Math.min(size, bytes.length - at - 8) / (4 * count));
      const channels = Array.from({ length: count }, () => new Float32Array(frames));
      for (let i = 0; i < frames; ++i) {
        for (let c = 0; c < count; ++c) channels[c]![i] = view.getFloat32(at + 8 + 4 * (i * count + c), true);
      }
      return { sampleRate, channels };
    }
    at += 8 + size + (size & 1);
  }
  throw new Error("This is not a WAV file of 32-bit float samples.");
}
