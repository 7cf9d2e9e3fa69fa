// What the page uses of the library that draws line plots.
declare module "dygraphs" {
  /** A point on the canvas; `y_top` and `y_bottom` are parts of the plot's height. */
  export interface PlotPoint { canvasx: number; y: number | null; y_top: number; y_bottom: number }
  export interface PlotterData {
    drawingContext: CanvasRenderingContext2D;
    color: string;
    plotArea: { x: number, y: number, w: number, h: number };
    points: PlotPoint[];
  }
  export default class Dygraph {
    static PLUGINS: unknown[];
    static Plugins: { Grid: unknown };
    static Plotters: { linePlotter: (data: PlotterData) => void };
    constructor(area: HTMLElement, rows: unknown[], options: Record<string, unknown>);
    updateOptions(options: Record<string, unknown>): void;
    resize(): void;
  }
}
