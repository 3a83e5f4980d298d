// SPDX-License-Identifier: BSD-3-Clause
declare module "plotly.js-basic-dist-min" {
    const Plotly: {
        react(place: HTMLElement, data: object[], layout: object, config: object): Promise<unknown>;
    };
    export default Plotly;
}
declare module "*.css";
