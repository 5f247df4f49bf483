// Times drawing jobs on a 1600 x 1200 canvas, in velk and in its peer alike; prints one line a job: name, milliseconds
// (median of five).

const width = 1600, height = 1200;

// The same numbers everywhere.
let state = 1;
function random(from, to) {
    state = (state * 48271) % 2147483647;
    return from + (to - from) * state / 2147483647;
}
function color(alpha) {
    return `rgba(${Math.floor(random(2, 256))}, ${Math.floor(random(2, 256))}, ${Math.floor(random(2, 256))}, ${alpha})`;
}

const jobs = {
    '20,000 small discs'(canvas) {
        for (let i = 0; i < 20000; ++i) {
            canvas.fillStyle = color(0.8);
            canvas.beginPath();
            canvas.arc(random(0, width), random(0, height), random(2, 12), 0, 2 * Math.PI);
            canvas.fill();
        }
    },
    '300 full-canvas translucent fills'(canvas) {
        for (let i = 0; i < 300; ++i) {
            canvas.fillStyle = color(0.1);
            canvas.fillRect(0, 0, width, height);
        }
    },
    '2,000 stroked Bezier curves'(canvas) {
        for (let i = 0; i < 2000; ++i) {
            canvas.strokeStyle = color(0.7);
            canvas.lineWidth = random(1, 8);
            canvas.beginPath();
            canvas.moveTo(random(0, width), random(0, height));
            canvas.bezierCurveTo(random(0, width), random(0, height), random(0, width), random(0, height),
                random(0, width), random(0, height));
            canvas.stroke();
        }
    },
    '5,000 self-crossing 40-gons'(canvas) {
        for (let i = 0; i < 5000; ++i) {
            const x = random(0, width), y = random(0, height);
            canvas.fillStyle = color(0.6);
            canvas.beginPath();
            canvas.moveTo(x, y);
            for (let corner = 1; corner < 40; ++corner)
                canvas.lineTo(x + random(-60, 60), y + random(-60, 60));
            canvas.closePath();
            canvas.fill();
        }
    },
    '100 linear full-canvas gradients'(canvas) {
        for (let i = 0; i < 100; ++i) {
            const gradient = canvas.createLinearGradient(random(0, width), random(0, height), random(0, width),
                random(0, height));
            for (const stop of [0, 0.3, 1])
                gradient.addColorStop(stop, color(0.5));
            canvas.fillStyle = gradient;
            canvas.fillRect(0, 0, width, height);
        }
    },
    '100 radial full-canvas gradients'(canvas) {
        for (let i = 0; i < 100; ++i) {
            const x = random(0, width), y = random(0, height);
            const gradient = canvas.createRadialGradient(x, y, random(0, 50), x + 20, y + 10, random(200, 900));
            for (const stop of [0, 0.3, 1])
                gradient.addColorStop(stop, color(0.5));
            canvas.fillStyle = gradient;
            canvas.fillRect(0, 0, width, height);
        }
    },
    '5,000 short strings'(canvas) {
        canvas.font = '16px Helvetica';
        for (let i = 0; i < 5000; ++i) {
            canvas.fillStyle = color(0.9);
            canvas.fillText(`String ${i % 997}`, random(0, width), random(0, height));
        }
    },
    '50 blurred shadows'(canvas) {
        for (let i = 0; i < 50; ++i) {
            canvas.save();
            canvas.shadowBlur = 20;
            canvas.shadowColor = 'rgba(0, 0, 0, 0.7)';
            canvas.fillStyle = color(0.99);
            canvas.fillRect(random(0, width - 200), random(0, height - 200), 200, 150);
            canvas.restore();
        }
    },
    '20 scaled photos'(canvas) {
        for (let i = 0; i < 20; ++i)
            canvas.drawImage(velk.images[0], random(0, 800), random(0, 600), 640 + i, 480);
    },
};

for (const [name, draw] of Object.entries(jobs)) {
    const times = [];
    for (let run = 0; run < 5; ++run) {
        const canvas = new Canvas(width, height).getContext('2d');
        state = 1;
        const start = Date.now();
        draw(canvas);
        // What was only recorded so far is drawn now.
        canvas.getImageData(0, 0, 1, 1);
        times.push(Date.now() - start);
    }
    times.sort((a, b) => a - b);
    console.log(`${name}\t${times[2]}`);
}
