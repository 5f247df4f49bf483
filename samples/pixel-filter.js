// Every image in shades of grey, worked out pixel by pixel.
//
//     velk --js samples/pixel-filter.js --out grey/ photo.jpg

for (const image of velk.images) {
    const { width, height } = image.size;
    if (width === 0)
        continue;
    const canvas = new Canvas(width, height);
    canvas.drawImage(image, 0, 0);
    const pixels = canvas.getImageData(0, 0, width, height);
    const data = pixels.data;
    for (let i = 0; i < data.length; i += 4) {
        const grey = (54 * (data[i] & 255) + 183 * (data[i + 1] & 255) + 19 * (data[i + 2] & 255)) >> 8;
        data[i] = grey;
        data[i + 1] = grey;
        data[i + 2] = grey;
    }
    canvas.putImageData(pixels, 0, 0);
    new Output(canvas, image.name.replace(/\.[^.]*$/, '') + '-grey.jpg').addToQueue();
}
