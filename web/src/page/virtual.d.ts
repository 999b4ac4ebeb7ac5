/** Made by web/build.mjs. */
declare module "virtual:parts" {
  export const wasmGzipBase64: string;
  export const workletScript: string;
}
