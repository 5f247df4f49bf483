// A 1200 x 630 card for a link: gradient, shapes and text.
//
//     velk --js samples/social-card.js --out card.png

const width = 1200, height = 630;
const card = new Canvas(width, height);
const context = card.getContext('2d');

const sky = context.createLinearGradient(0, 0, width, height);
sky.addColorStop(0, '#1b2a4a');
sky.addColorStop(0.55, '#4a3f78');
sky.addColorStop(1, '#d9688f');
context.fillStyle = sky;
context.fillRect(0, 0, width, height);

const glow = context.createRadialGradient(930, 210, 20, 930, 210, 330);
glow.addColorStop(0, 'rgba(255, 230, 180, 0.9)');
glow.addColorStop(1, 'rgba(255, 230, 180, 0.0)');
context.fillStyle = glow;
context.fillRect(0, 0, width, height);

// Hills, the nearer the darker.
for (let hill = 0; hill < 4; ++hill) {
    const base = 380 + hill * 60;
    context.beginPath();
    context.moveTo(0, height);
    context.lineTo(0, base);
    for (let x = 0; x < width; x += 200)
        context.bezierCurveTo(x + 60, base - 90 + hill * 18, x + 140, base + 60 - hill * 12, x + 200, base);
    context.lineTo(width, height);
    context.closePath();
    context.fillStyle = `rgba(${40 - hill * 8}, ${30 - hill * 6}, ${70 - hill * 12}, ${0.55 + hill * 0.1})`;
    context.fill();
}

// Stars on a spiral.
for (let star = 0; star < 120; ++star) {
    const angle = star * 2.4, distance = 18 * Math.sqrt(star);
    context.beginPath();
    context.arc(930 + distance * Math.cos(angle), 210 + distance * Math.sin(angle), 2.4 - star / 80, 0, 2 * Math.PI);
    context.fillStyle = 'rgba(255, 255, 255, 0.8)';
    context.fill();
}

context.strokeStyle = 'rgba(255, 255, 255, 0.35)';
context.lineWidth = 3;
context.setLineDash([14, 8]);
context.strokeRect(30, 30, width - 60, height - 60);
context.setLineDash([]);

context.save();
context.shadowBlur = 14;
context.shadowColor = 'rgba(0, 0, 0, 0.6)';
context.fillStyle = 'white';
context.font = '92px Helvetica';
context.fillText('Pictures, drawn.', 80, 260);
context.restore();
context.fillStyle = '#f2d9e4';
context.font = '36px Helvetica';
context.fillText('Canvas, photos and colour in one command', 84, 330);

new Output(card, 'card.png').addToQueue();
