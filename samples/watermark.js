// Every image at no more than 1200 pixels (or what -Z says), with a line of text in its corner.
//
//     velk --js samples/watermark.js -Z 800 --out shared/ photos/*.jpg

const edge = velk.longestEdge || 1200;

for (const image of velk.images) {
    const size = image.sizeToFitLongestEdge(edge);
    if (size.width === 0)
        continue;
    const canvas = new Canvas(size.width, size.height);
    const context = canvas.getContext('2d');
    context.drawImage(image, 0, 0, size.width, size.height);

    const height = Math.max(10, Math.round(size.height / 30));
    context.font = `${height}px Helvetica`;
    context.textAlign = 'right';
    context.shadowBlur = height / 4;
    context.shadowColor = 'rgba(0, 0, 0, 0.8)';
    context.fillStyle = 'white 0.85';
    context.fillText('© velk studio', size.width - height, size.height - height);

    const name = image.name.replace(/\.[^.]*$/, '');
    new Output(canvas, `${name}-shared.jpg`).addToQueue();
}
