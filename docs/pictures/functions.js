// What some functions make of one photo, side by side at one scale. scripts/make-docs calls it with the results in
// the order of the captions.

const captions = ['photo.jpg', '-Z 700', '-c 560 700', '-r 90', '-r 15', '-p 1000 1300 --padColor FFFFFF'];
const columns = 3, scale = 0.25, cellWidth = 368, cellHeight = 356, captionHeight = 36;
const sheet = new Canvas(columns * cellWidth, captions.length / columns * cellHeight);
sheet.fillStyle = '#20242b';
sheet.fillRect(0, 0, sheet.width, sheet.height);
sheet.font = '17px Courier';
sheet.textAlign = 'center';

velk.images.forEach((image, index) => {
    const left = index % columns * cellWidth, top = Math.floor(index / columns) * cellHeight;
    const width = image.size.width * scale, height = image.size.height * scale;
    const room = cellHeight - captionHeight;
    sheet.drawImage(image, left + (cellWidth - width) / 2, top + (room - height) / 2 + 4, width, height);
    sheet.fillStyle = index === 0 ? '#8b93a1' : '#f0f2f5';
    sheet.fillText(captions[index], left + cellWidth / 2, top + cellHeight - 20);
});

new Output(sheet, 'functions.jpg').addToQueue();
