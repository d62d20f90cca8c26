import { render } from "preact";
import { App } from "./App";
import "uplot/dist/uPlot.min.css";
import "./style.css";

render(<App />, document.getElementById("app") as HTMLElement);
