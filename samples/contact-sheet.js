// A contact sheet of all images, with their names.
//
//     velk --js samples/contact-sheet.js --out sheet.jpg photos/*.jpg

const images = velk.images.filter(image => image.size.width > 0);
const columns = Math.max(1, Math.ceil(Math.sqrt(images.length)));
const rows = Math.max(1, Math.ceil(images.length / columns));
const margin = 24, caption = 28;
const cell = Math.floor((1600 - margin) / columns) - margin;

const sheet = new Canvas(margin + columns * (cell + margin), margin + rows * (cell + caption + margin));
const context = sheet.getContext('2d');
context.fillStyle = '#20242b';
context.fillRect(0, 0, sheet.width, sheet.height);
context.font = '15px Helvetica';
context.textAlign = 'center';

images.forEach((image, index) => {
    const left = margin + (index % columns) * (cell + margin);
    const top = margin + Math.floor(index / columns) * (cell + caption + margin);
    const size = image.sizeToFitLongestEdge(cell);

    context.drawImage(image, left + (cell - size.width) / 2, top + (cell - size.height) / 2, size.width, size.height);
    context.fillStyle = '#c8ccd4';
    context.fillText(image.name, left + cell / 2, top + cell + 20);
});

new Output(sheet, velk.outputPath || 'contact-sheet.png').addToQueue();
print(`${images.length} images on ${columns} x ${rows} fields`);
