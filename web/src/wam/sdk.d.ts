/** What is used of the SDK, whose own types ask for more of a host than it needs. */
export class WebAudioModule {
  constructor(groupId: string, audioContext: BaseAudioContext);
  static createInstance(groupId: string, audioContext: BaseAudioContext, state?: unknown): Promise<WebAudioModule>;
  readonly audioContext: BaseAudioContext;
  readonly moduleId: string;
  _descriptor: Record<string, unknown>;
  audioNode: AudioNode;
  initialize(state?: unknown): Promise<any>;
  createAudioNode(state?: unknown): Promise<any>;
  createGui(): Promise<any>;
}
export class WamNode extends AudioWorkletNode {
  constructor(module: WebAudioModule, options: AudioWorkletNodeOptions);
  static addModules(context: BaseAudioContext, moduleId: string): Promise<void>;
}
export function initializeWamHost(context: BaseAudioContext): Promise<[string, string]>;
