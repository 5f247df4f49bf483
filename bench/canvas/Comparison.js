// A picture of most of what a canvas can do, for comparison by eye and by numbers with what its peer makes of it:
//
//     velk --js bench/canvas/Comparison.js --out velk.png
//     node bench/canvas/OnNode.js MODULES peer.png bench/canvas/Comparison.js

const sheet = new Canvas(800, 800);
const c = sheet.getContext('2d');
c.fillStyle = 'white';
c.fillRect(0, 0, 800, 800);

function field(column, row, draw) {
    c.save();
    c.translate(column * 200, row * 200);
    c.beginPath();
    c.rect(4, 4, 192, 192);
    c.clip();
    draw();
    c.restore();
}

function star(x, y, radius) {
    c.beginPath();
    for (let tip = 0; tip < 5; ++tip) {
        const angle = tip * 4 * Math.PI / 5 - Math.PI / 2;
        tip === 0 ? c.moveTo(x + radius * Math.cos(angle), y + radius * Math.sin(angle))
            : c.lineTo(x + radius * Math.cos(angle), y + radius * Math.sin(angle));
    }
    c.closePath();
}

field(0, 0, () => {
    c.fillStyle = '#d33';
    star(100, 100, 80);
    c.fill();
});
['butt', 'round', 'square'].forEach((cap, index) => field(1, 0, () => {
    c.lineCap = cap;
    c.lineWidth = 24;
    c.strokeStyle = '#36a';
    c.beginPath();
    c.moveTo(40, 40 + index * 60);
    c.lineTo(150, 50 + index * 60);
    c.stroke();
}));
['miter', 'round', 'bevel'].forEach((join, index) => field(2, 0, () => {
    c.miterLimit = 10;
    c.lineJoin = join;
    c.lineWidth = 18;
    c.strokeStyle = '#383';
    c.beginPath();
    c.moveTo(30, 60 + index * 55);
    c.lineTo(100, 20 + index * 55);
    c.lineTo(170, 60 + index * 55);
    c.stroke();
}));
field(3, 0, () => {
    c.lineWidth = 6;
    c.strokeStyle = 'black';
    c.setLineDash([20, 8, 4, 8]);
    c.beginPath();
    c.arc(100, 100, 70, 0, 2 * Math.PI);
    c.stroke();
    c.beginPath();
    c.moveTo(20, 180);
    c.bezierCurveTo(60, 20, 140, 340, 180, 20);
    c.stroke();
    c.setLineDash([]);
});
field(0, 1, () => {
    const linear = c.createLinearGradient(40, 40, 160, 120);
    linear.addColorStop(0, 'rgba(255, 0, 0, 0.99)');
    linear.addColorStop(0.5, 'rgba(255, 255, 0, 0.4)');
    linear.addColorStop(1, 'rgba(0, 0, 255, 0.99)');
    c.fillStyle = linear;
    c.fillRect(10, 10, 180, 180);
});
field(1, 1, () => {
    const radial = c.createRadialGradient(70, 80, 10, 110, 110, 80);
    radial.addColorStop(0, 'white');
    radial.addColorStop(0.7, '#48c');
    radial.addColorStop(1, '#024');
    c.fillStyle = radial;
    c.fillRect(10, 10, 180, 180);
});
field(2, 1, () => {
    c.beginPath();
    c.arc(100, 100, 80, 0, 2 * Math.PI);
    c.clip();
    for (let x = -200; x < 200; x += 20) {
        c.lineWidth = 8;
        c.strokeStyle = '#a4c';
        c.beginPath();
        c.moveTo(x, 0);
        c.lineTo(x + 200, 200);
        c.stroke();
    }
});
field(3, 1, () => {
    c.translate(100, 100);
    c.rotate(0.5);
    c.scale(1.5, 0.6);
    c.lineWidth = 10;
    c.strokeStyle = '#840';
    c.strokeRect(-50, -50, 100, 100);
    c.fillStyle = 'rgba(255, 160, 0, 0.5)';
    c.fillRect(-40, -40, 80, 80);
});
const operators = ['source-over', 'source-atop', 'destination-over', 'destination-out', 'xor', 'source-over', 'destination-atop',
    'source-in'];
operators.forEach((operator, index) => {
    const layer = c;
    layer.save();
    layer.translate((index % 4) * 200, 400 + Math.floor(index / 4) * 200);
    layer.beginPath();
    layer.rect(4, 4, 192, 192);
    layer.clip();
    layer.clearRect(0, 0, 200, 200);
    layer.fillStyle = 'rgba(220, 60, 40, 0.8)';
    layer.fillRect(30, 30, 100, 100);
    layer.globalCompositeOperation = operator;
    layer.fillStyle = 'rgba(40, 90, 220, 0.7)';
    layer.beginPath();
    layer.arc(125, 125, 55, 0, 2 * Math.PI);
    layer.fill();
    layer.restore();
});
new Output(sheet, 'comparison.png').addToQueue();
