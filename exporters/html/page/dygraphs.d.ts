// What the page uses of the library that draws line plots.
declare module "dygraphs" {
  export default class Dygraph {
    static PLUGINS: unknown[];
    static Plugins: { Grid: unknown };
    constructor(area: HTMLElement, rows: unknown[], options: Record<string, unknown>);
    updateOptions(options: Record<string, unknown>): void;
    resize(): void;
  }
}
