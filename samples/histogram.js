// The histogram of each image as a picture beside it: luminance as an area, red, green and blue as lines.
//
//     velk --js samples/histogram.js --out charts/ photo.jpg

const width = 640, height = 360, margin = 20;

function countLevels(image) {
    const size = image.sizeToFitLongestEdge(512);
    const small = new Canvas(size.width, size.height);
    small.drawImage(image, 0, 0, size.width, size.height);
    const bytes = small.getImageData(0, 0, size.width, size.height).data;
    const levels = [new Array(256).fill(0), new Array(256).fill(0), new Array(256).fill(0), new Array(256).fill(0)];
    for (let i = 0; i < bytes.length; i += 4) {
        // Elements are signed bytes.
        const red = bytes[i] & 255, green = bytes[i + 1] & 255, blue = bytes[i + 2] & 255;
        ++levels[0][red];
        ++levels[1][green];
        ++levels[2][blue];
        ++levels[3][Math.round(0.2126 * red + 0.7152 * green + 0.0722 * blue)];
    }
    return levels;
}

function trace(context, counts, peak, isArea) {
    counts.forEach((count, level) => {
        const x = margin + level / 255 * (width - 2 * margin);
        const y = height - margin - Math.min(1, Math.sqrt(count / peak)) * (height - 2 * margin);
        level === 0 && !isArea ? context.moveTo(x, y) : context.lineTo(x, y);
    });
}

for (const image of velk.images) {
    if (image.size.width === 0)
        continue;
    const levels = countLevels(image);
    const peak = Math.max(...levels.flat());
    const chart = new Canvas(width, height);
    chart.fillStyle = '#fbfbf8';
    chart.fillRect(0, 0, width, height);

    chart.beginPath();
    chart.moveTo(margin, height - margin);
    trace(chart, levels[3], peak, true);
    chart.lineTo(width - margin, height - margin);
    chart.closePath();
    chart.fillStyle = 'rgba(60, 66, 80, 0.25)';
    chart.fill();

    chart.lineWidth = 2;
    chart.lineJoin = 'round';
    ['#c8372d', '#2f9e44', '#2b6cc4'].forEach((color, channel) => {
        chart.beginPath();
        trace(chart, levels[channel], peak);
        chart.strokeStyle = color;
        chart.stroke();
    });

    chart.font = '14px Helvetica';
    chart.fillStyle = '#3c4250';
    chart.fillText(image.name, margin, margin + 4);
    new Output(chart, image.name.replace(/\.[^.]*$/, '') + '-histogram.png').addToQueue();
}
