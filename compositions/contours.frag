#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float scale;
uniform float lines;
uniform vec4 valley;
uniform vec4 summit;
uniform vec4 ink;

// Slow hills: waves that bend each other.
float land(vec2 p) {
  float sum = 0.0, part = 0.5;
  for (int i = 0; i < 4; ++i) {
    sum += part * sin(p.x + 0.1 * float(i + 1) * phase + 1.3 * sin(0.7 * p.y + float(i)));
    p = mat2(1.13, 1.31, -1.31, 1.13) * p + 1.7;
    part *= 0.55;
  }
  return 0.5 + 0.5 * sum;
}

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0) * scale;
  float high = land(p);
  float pixels = 3.0;
  float apart = pixels * scale / float(height);
  vec2 slope = vec2(land(p + vec2(apart, 0.0)), land(p + vec2(0.0, apart))) - high;

  vec3 color = mix(valley.rgb, summit.rgb, smoothstep(0.0, 1.0, floor(high * lines) / lines));
  color *= 1.0 + clamp(dot(slope, vec2(-0.7, 0.7)) * 3.0 / apart * 0.12, -0.25, 0.25);

  float level = high * lines;
  float away = abs(fract(level + 0.5) - 0.5) / (lines * length(slope) / pixels + 1e-4);  // in pixels
  float isFifth = mod(floor(level + 0.5), 5.0) < 0.5 ? 1.0 : 0.0;
  float line = smoothstep(mix(1.1, 2.0, isFifth), 0.2, away) * mix(0.55, 1.0, isFifth);
  color = mix(color, ink.rgb, line * ink.a);
  color += 0.10 * ink.rgb * isFifth * exp(-0.25 * away);
  pixel = vec4(color, 1.0);
}
