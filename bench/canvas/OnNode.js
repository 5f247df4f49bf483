// Runs a velk script in Node on @napi-rs/canvas: the classes that velk has, over the peer's, with the differences
// evened out (a painted path is used up, shadow offsets go upwards, pixels are bytes from the bottom row on).
//
//     node OnNode.js MODULES OUTPUT script.js image...
'use strict';
const fs = require('fs');
const path = require('path');
const vm = require('vm');
const [modules, output, script, ...files] = process.argv.slice(2);
const { createCanvas, loadImage } = require(path.join(modules, '@napi-rs/canvas'));

class PeerCanvas {
    constructor(width, height) {
        this.surface = createCanvas(width, height);
        const context = this.context = this.surface.getContext('2d');
        context.canvasOfVelk = this;
        const { fill, stroke, clip, drawImage, getImageData, putImageData } = context;
        context.fill = () => { fill.call(context); context.beginPath(); };
        context.stroke = () => { stroke.call(context); context.beginPath(); };
        context.clip = () => { clip.call(context); context.beginPath(); };
        context.drawImage = (image, ...place) => drawImage.call(context, image.pixels || image, ...place);
        context.getImageData = (...area) => getImageData.apply(context, area);
        context.putImageData = (...place) => putImageData.apply(context, place);
        Object.defineProperty(context, 'width', { value: width });
        Object.defineProperty(context, 'height', { value: height });
        context.getContext = () => context;
        return context;
    }
}

class PeerImage {
    constructor(file, pixels) {
        this.name = path.basename(file);
        this.pixels = pixels;
        this.size = { width: pixels.width, height: pixels.height };
    }
    sizeToFitLongestEdge(edge) {
        const { width, height } = this.size, ratio = width / height;
        const size = ratio > 1 ? { width: edge, height: Math.round(edge / ratio) }
            : { width: Math.round(ratio * edge), height: edge };
        return size.width > width && size.height > height ? this.size : size;
    }
}

class PeerOutput {
    constructor(canvas, name) {
        this.surface = canvas.canvasOfVelk.surface;
        this.name = name;
    }
    addToQueue() {
        const file = fs.existsSync(output) && fs.statSync(output).isDirectory() ? path.join(output, this.name) : output;
        const isJpeg = /\.jpe?g$/i.test(file);
        fs.writeFileSync(file, this.surface.toBuffer(isJpeg ? 'image/jpeg' : 'image/png'));
    }
}

(async () => {
    const images = [];
    for (const file of files)
        images.push(new PeerImage(file, await loadImage(file)));
    const globals = { Canvas: PeerCanvas, Output: PeerOutput, print: console.log, console,
        velk: { images, outputPath: output, longestEdge: 0, size: { width: 0, height: 0 } }, isPeer: true };
    Object.assign(globalThis, globals);
    vm.runInThisContext(fs.readFileSync(script, 'utf8'), script);
})();
