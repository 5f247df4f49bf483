// Draws the measured ratios as bars: how long velk takes where its best peer takes 1. `rows` is a list of
// [name, ratio, budget], put in front of this program by run.py.

const rowHeight = 26, left = 430, right = 1000, unit = (right - left - 70) / 1.1;
const chart = new Canvas(right, rows.length * rowHeight + 70);
chart.fillStyle = '#fcfcfa';
chart.fillRect(0, 0, chart.width, chart.height);

chart.strokeStyle = '#c8ccd2';
chart.lineWidth = 1;
for (const share of [0, 0.25, 0.5, 0.75, 1]) {
    const x = Math.round(left + share * unit) + 0.5;
    chart.beginPath();
    chart.moveTo(x, 28);
    chart.lineTo(x, chart.height - 24);
    chart.stroke();
    chart.font = '12px Helvetica';
    chart.textAlign = 'center';
    chart.fillStyle = '#666c76';
    chart.fillText(share === 1 ? 'best peer' : share.toString(), x, 20);
}

rows.forEach(([name, ratio, budget], index) => {
    const y = 36 + index * rowHeight;
    const bar = chart.createLinearGradient(left, 0, left + unit, 0);
    bar.addColorStop(0, ratio <= budget ? '#2c7fb8' : '#d9822b');
    bar.addColorStop(1, ratio <= budget ? '#7fcdbb' : '#f0b36a');
    chart.fillStyle = bar;
    chart.beginPath();
    chart.rect(left, y, ratio * unit, rowHeight - 9);
    chart.fill();
    chart.font = '13px Helvetica';
    chart.fillStyle = '#2b2f36';
    chart.textAlign = 'right';
    chart.fillText(name, left - 10, y + 13);
    chart.textAlign = 'left';
    chart.fillText(ratio.toFixed(2), left + ratio * unit + 6, y + 13);
});

new Output(chart, 'benchmarks.png').addToQueue();
